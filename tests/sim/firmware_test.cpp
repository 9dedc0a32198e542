// The example firmware with exceptions, as a host sees it: what it prints over RTT, and its counter.
#include "tests/sim/target_session.h"

#include <array>
#include <string>

namespace tessit_test {
namespace {

using testing::StartsWith;

constexpr std::uint32_t status_counter = ram;

class Firmware : public testing::Test
{
public:
    /// What it has said by the time that it has run for so long.
    static std::string run(const std::string& name, unsigned milliseconds)
    {
        connect_halted();
        EXPECT_EQ(command("SetRTTSearchRanges 0x20000000 0x4000"), "");
        EXPECT_GE(JLINKARM_Reset(), 0);
        write_word(status_counter, 0);
        EXPECT_EQ(JLINK_RTTERMINAL_Control(0, nullptr), 0) << name;
        JLINKARM_Go();
        std::string said;
        std::array<char, 256> buffer{};
        for (unsigned i = 0; i < milliseconds; ++i) {
            EXPECT_EQ(JLINKSIM_pass_time(1'000'000), 0);
            const int count = JLINK_RTTERMINAL_Read(0, buffer.data(), buffer.size());
            said.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return said;
    }
};

struct Program
{
    const char* name;
    unsigned milliseconds;
    const char* says; ///< first
    std::uint32_t counts;
    std::string record; ///< begin of the last one, if there is one
};

TEST_F(Firmware, RunsWithExceptions)
{
    const std::array programs{
        Program{"scheduler", 4, "one 1\ntwo 1\none 2\ntwo 2\none 3\ntwo 3\n", 6, ""},
        Program{"float_tasks", 60, "float_tasks: 100 sums are right\n", 100, ""},
        Program{"nested", 3, "low{mid{high{}}}\nhigh{}mid{}low{}\nmasked:high{}mid{}low{}\nbase:high{}-mid{}\n", 11,
                ""},
        Program{"fault_handler", 3,
                "BusFault: CFSR 0x00008200, BFAR 0x30000000, R0 0x30000000, PC at the culprit\n"
                "UsageFault: CFSR 0x02000000, BFAR 0x30000000, R0 0x00000000, PC at the culprit\n"
                "UsageFault: CFSR 0x00080000, BFAR 0x30000000, R0 0x00000007, PC at the culprit\n"
                "going on\n"
                "HardFault: CFSR 0x00008200, BFAR 0x30000004, R0 0x30000004, PC at the culprit\n",
                4, "cpu-fault: read of 4 bytes at 0x30000004"},
        Program{"wake", 12, "tick 1\ntick 2\ntick 3\nheld back\nevent\non exit\n", 6, ""},
    };
    for (const Program& program : programs) {
        SCOPED_TRACE(program.name);
        TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", std::string{"flash_file = \"" FIRMWARE_FOLDER "/"} +
                                                                       program.name + ".bin\"\n");
        EXPECT_THAT(run(program.name, program.milliseconds), StartsWith(program.says));
        EXPECT_GE(read_word(status_counter), program.counts);
        const auto records = bench.take_records();
        EXPECT_EQ(records.empty(), program.record.empty()) << testing::PrintToString(records);
        EXPECT_THAT(records.empty() ? "" : records.back(), StartsWith(program.record));
        EXPECT_EQ(JLINK_RTTERMINAL_Control(1, nullptr), 0);
        close_probe();
    }
}

} // namespace
} // namespace tessit_test
