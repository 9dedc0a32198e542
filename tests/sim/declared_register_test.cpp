// Registers that a bench file declares.
#include "tests/sim/target_session.h"

#include <fstream>
#include <iterator>

namespace tessit_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint32_t start = 0x40008000;
constexpr std::uint32_t stop = 0x40008004;
constexpr std::uint32_t event = 0x40008100;
constexpr std::uint32_t bytes = 0x40001000;
constexpr std::uint32_t identity = 0x40001004;

constexpr const char* timer = R"(
[[probe.chip.register]]
address = 0x40008000
on_write = [{ sets = "tick", to = 5, after_us = 10_000, repeat = true }, { sets = "bytes", to = 0x7F }]
[[probe.chip.register]]
address = 0x40008004
on_write = [{ stops = "tick" }]
[[probe.chip.register]]
name = "tick"
address = 0x40008100
[[probe.chip.register]]
name = "bytes"
address = 0x40001000
size = 1
count = 4
reset = 0x21
output = "out"
[[probe.chip.register]]
address = 0x40001004
size = 2
reset = 0xBEEF
read_only = true
)";

TEST(DeclaredRegisters, areSetAfterTheirTimeAndOutliveTheProcess)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", timer);
    connect_halted();
    EXPECT_EQ(read_word(bytes), 0x21212121U);
    write_word(start, 1);
    EXPECT_EQ(read_word(bytes), 0x2121217FU) << "at once";
    EXPECT_EQ(read_word(event), 0U);
    for (int turn = 0; turn < 2; ++turn) {
        JLINKSIM_pass_time(10'000'000);
        EXPECT_EQ(read_word(event), 5U) << turn;
        write_word(event, 0);
    }
    close_probe();
    bench.reopen();
    connect_halted();
    EXPECT_EQ(read_word(bytes), 0x2121217FU);
    EXPECT_EQ(read_word(event), 5U) << "what was under way is over in the next process";
    write_word(event, 0);
    write_word(stop, 1);
    JLINKSIM_pass_time(50'000'000);
    EXPECT_EQ(read_word(event), 0U);
    write_word(bytes, 0x6C6C6548); // each byte a write of its own
    ASSERT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(read_word(bytes), 0x21212121U);
    EXPECT_EQ(bench.folder().read("out"), "Hell");

    std::uint16_t half = 0;
    EXPECT_EQ(JLINKARM_WriteMem(identity, 2, &half), 2);
    EXPECT_EQ(JLINKARM_ReadMem(identity, 2, &half), 0);
    EXPECT_EQ(half, 0xBEEF);
    EXPECT_THAT(bench.take_records(), begin_with("register-read-only: write to 0x40001004"));
}

#if defined(TESSIT_SIM_CPU_UNICORN)
TEST(DeclaredRegisters, bringFirmwarePastItsClockAndTimerAndShowWhatItPrints)
{
    std::ifstream file{FIRMWARE_FOLDER "/../registers.toml"};
    std::string toml{std::istreambuf_iterator<char>{file}, {}};
    const std::string version = "version = \"BIRCH_M1_VA_REV2\"\n";
    toml.insert(toml.find(version), "flash_file = \"" FIRMWARE_FOLDER "/peripherals.bin\"\n");
    const TempBench bench{toml};
    ASSERT_TRUE(open_probe());
    JLINKSIM_pass_time(4'000'000);
    const std::string first = "the clock runs\ntick 1\n";
    EXPECT_THAT(bench.folder().read("uart.txt"), StartsWith(first));
    JLINKSIM_pass_time(20'000'000);
    EXPECT_EQ(bench.folder().read("uart.txt"), first + "tick 2\ntick 3\ntick 4\ntick 5\ndone\n");
}
#endif

TEST(DeclaredRegisters, areRefusedWithFileLineAndReason)
{
    const std::pair<const char*, const char*> registers[] = {
        {"name = \"b\"", "8: address: is missing"},
        {"address = 0x20000000", "9: address: expected an address of a peripheral"},
        {"address = 0x40000002", "9: address: expected a multiple of the size, 4"},
        {"address = 0x40000FFC", "9: address: first is there"},
        {"address = 0x40002000\nname = \"first\"", "10: name: 'first' is the name of another"},
        {"address = 0x40002000\nsize = 3", "10: size: expected 1, 2 or 4"},
        {"address = 0x40002000\nsize = 1\nreset = 256", "11: reset: expected a whole number from 0 to 255"},
        {"address = 0x40002000\ninterrupt = 64", "10: interrupt: expected a whole number from 0 to 63"},
        {"address = 0x40002000\noutput = \"no/such/folder\"", "10: output: "},
        {"address = 0x40002000\non_write = [{ sets = \"other\" }]", "10: sets: there is no register 'other'"},
        {"address = 0x40002000\non_write = [{ sets = \"first\", repeat = true }]", "10: repeat: expected 'after_us'"},
        {"address = 0x40002000\non_write = [{ to = 1 }]", "10: sets: expected either"},
        {"address = 0x40002000\nraises = 3", "10: raises: is not known here"},
    };
    const TempFolder folder;
    const std::string path = (folder.path() / "bad.toml").string();
    for (const auto& [lines, message] : registers) {
        folder.write("bad.toml", "[[probe]]\nserial = 5\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n"
                                 "[[probe.chip.register]]\nname = \"first\"\naddress = 0x40000FFC\n"
                                 "[[probe.chip.register]]\n" +
                                     std::string{lines} + "\n");
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << lines;
        EXPECT_THAT(JLINKSIM_error_text(), HasSubstr(std::string{"bad.toml:"} + message)) << lines;
    }
}

} // namespace
} // namespace tessit_test
