#include "tests/sim/target_session.h"

#include <functional>

namespace tessit_test {
namespace {

constexpr std::uint8_t control_port = 1;
constexpr std::uint8_t reset_register = 0x00;
constexpr std::uint8_t erase_all_register = 0x04;
constexpr std::uint8_t erase_all_status = 0x08;
constexpr std::uint8_t protection_status = 0x0C;
constexpr std::uint8_t identification = 0xFC;

void open_debug_port()
{
    ASSERT_TRUE(open_probe());
    power_debug_port();
}

void pulse_control_reset()
{
    write_port(control_port, reset_register, 1);
    write_port(control_port, reset_register, 0);
}

TEST(ReadbackProtection, closesTheDebugAccessFromTheNextResetOn)
{
    struct Reset
    {
        const char* kind;
        std::function<void()> make;
    };
    for (const Reset& reset : {
             Reset{"system", [] { EXPECT_LT(JLINKARM_Reset(), 0) << "the core does not answer any more"; }},
             Reset{"pin", pulse_reset_line},
             Reset{"control", pulse_control_reset},
             Reset{"power", [] { EXPECT_EQ(JLINKSIM_power_cycle(TempBench::serial_number), 0); }},
         }) {
        SCOPED_TRACE(reset.kind);
        HaltedChip bench;
        program_word(protection_word, 0xFFFFFF00);
        EXPECT_EQ(read_port(control_port, protection_status), 1U);
        EXPECT_EQ(read_word(ram), bench.peek_word(ram));

        reset.make();
        JLINKARM_Close();
        bench.take_records();
        open_debug_port();
        EXPECT_EQ(read_port(control_port, identification) & 0x0FFFFF00, 0x02880000U);
        EXPECT_EQ(read_port(control_port, protection_status), 0U);
        EXPECT_LT(JLINKARM_Connect(), 0);
        // The memory port neither.
        write_port(0, 0x04, ram);
        std::uint32_t value = 0;
        EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(3, 1, &value), 0);
    }
}

TEST(EraseAll, takesItsTimeAndOpensTheChipAtTheNextReset)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", "protected = true\nflash_fill = 0\n");
    open_debug_port();
    EXPECT_LT(JLINKARM_Connect(), 0);
    const std::uint64_t begin = JLINKSIM_time_ns();
    write_port(control_port, erase_all_register, 1);
    JLINKSIM_pass_time(160'000'000);
    EXPECT_EQ(read_port(control_port, erase_all_status), 1U);
    EXPECT_GE(JLINKSIM_time_ns() - begin, 660'000'000U) << "the host waits before it asks again";
    EXPECT_EQ(read_port(control_port, erase_all_status), 0U);
    EXPECT_EQ(bench.peek_word(0), 0xFFFFFFFFU);
    EXPECT_EQ(bench.peek_word(protection_word), 0xFFFFFFFFU);

    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_LT(JLINKARM_Connect(), 0);
    pulse_control_reset();
    EXPECT_EQ(read_port(control_port, protection_status), 1U);
    EXPECT_GE(JLINKARM_Connect(), 0);
}

TEST(EraseAll, isAbortedByAResetAndRecorded)
{
    for (const char* const fault : {"", "faults = [\"erase_never_ends\"]\n"}) {
        TempBench bench =
            TempBench::with_chip("BIRCH_M1_VA_REV2", std::string{"protected = true\nflash_fill = 0\n"} + fault);
        open_debug_port();
        write_port(control_port, erase_all_register, 1);
        write_port(control_port, erase_all_register, 1);
        for (int polls = 0; *fault != '\0' && polls < 1000; ++polls) {
            ASSERT_EQ(read_port(control_port, erase_all_status), 1U);
        }
        pulse_control_reset();
        EXPECT_EQ(read_port(control_port, erase_all_status), 0U);
        EXPECT_EQ(bench.peek_word(0), 0U);
        EXPECT_EQ(read_port(control_port, protection_status), 0U);
        EXPECT_THAT(bench.take_records(), begin_with("erase-all-busy", "erase-all-aborted"));
    }
}

TEST(ControlPort, failsWhenTheBenchSaysSo)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "faults = [\"ctrl_ap_fails\"]\n");
    open_debug_port();
    std::uint32_t value = 0;
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 0x01000000), 0);
    EXPECT_LT(JLINKARM_CORESIGHT_WriteAPDPReg(1, 1, 1), 0);
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(2, 1, &value), 0);
}

TEST(ControlPort, holdsTheChipInResetUntilItIsReleased)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    open_debug_port();
    write_port(control_port, reset_register, 1);
    EXPECT_LT(JLINKARM_Connect(), 0);
    // Also for the session after this one.
    JLINKARM_Close();
    EXPECT_THAT(bench.take_records(), begin_with("debug-power-left", "ctrl-ap-left-set"));
    open_debug_port();
    EXPECT_EQ(read_port(control_port, reset_register), 1U);
    write_port(control_port, reset_register, 0);
    EXPECT_GE(JLINKARM_Connect(), 0);
}

TEST(ControlPort, isMissingWhereTheChipHasNone)
{
    HaltedChip bench{"BIRCH_M1_VA_ENGA"};
    EXPECT_EQ(read_port(control_port, identification), 0U);
    EXPECT_TRUE(bench.take_records().empty());
    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_THAT(bench.take_records(), begin_with("access-port-absent"));
    // Without the port there is no way back, and so no protection either.
    program_word(protection_word, 0xFFFFFF00);
    EXPECT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(read_word(protection_word), 0xFFFFFF00U);
}

} // namespace
} // namespace tessit_test
