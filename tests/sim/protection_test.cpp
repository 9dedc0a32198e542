#include "tests/sim/target_session.h"

#include <chrono>
#include <thread>

namespace tessit_test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

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

/// Every way in which a host can reset a chip.
enum class HostReset
{
    system,
    pin,
    control,
    power
};

class ReadbackProtection : public testing::TestWithParam<HostReset>
{
protected:
    static void reset_chip()
    {
        switch (GetParam()) {
        case HostReset::system:
            EXPECT_LT(JLINKARM_Reset(), 0); // the core does not answer any more
            break;
        case HostReset::pin:
            JLINKARM_ClrRESET();
            JLINKARM_SetRESET();
            break;
        case HostReset::control:
            pulse_control_reset();
            break;
        case HostReset::power:
            ASSERT_EQ(JLINKSIM_power_cycle(TempBench::serial_number), 0);
            break;
        }
    }
};

TEST_P(ReadbackProtection, closesTheDebugAccessFromTheNextResetOn)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    connect_halted();
    program_word(protection_word, 0xFFFFFF00);
    EXPECT_EQ(read_port(control_port, protection_status), 1U);
    EXPECT_EQ(read_word(ram), bench.peek_word(ram));

    reset_chip();
    JLINKARM_Close();
    open_debug_port();
    EXPECT_EQ(read_port(control_port, identification) & 0x0FFFFF00, 0x02880000U);
    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_LT(JLINKARM_Connect(), 0);
    // The memory port neither.
    write_port(0, 0x04, ram);
    std::uint32_t value = 0;
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(3, 1, &value), 0);
}

INSTANTIATE_TEST_SUITE_P(Resets, ReadbackProtection,
                         testing::Values(HostReset::system, HostReset::pin, HostReset::control, HostReset::power));

TEST(EraseAll, takesItsTimeAndOpensTheChipAtTheNextReset)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", "protected = true\nflash_fill = 0\n");
    open_debug_port();
    EXPECT_LT(JLINKARM_Connect(), 0);
    const std::uint64_t begin = JLINKSIM_time_ns();
    write_port(control_port, erase_all_register, 1);
    int polls = 0;
    while (read_port(control_port, erase_all_status) != 0) {
        ASSERT_LT(++polls, 1000);
    }
    EXPECT_GE(JLINKSIM_time_ns() - begin, 169'000'000U);
    EXPECT_EQ(bench.peek_word(0), 0xFFFFFFFFU);
    EXPECT_EQ(bench.peek_word(protection_word), 0xFFFFFFFFU);

    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_LT(JLINKARM_Connect(), 0);
    pulse_control_reset();
    EXPECT_EQ(read_port(control_port, protection_status), 1U);
    EXPECT_GE(JLINKARM_Connect(), 0);
}

TEST(EraseAll, isOverAfterAHostSleptLongEnough)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "protected = true\nflash_fill = 0\n");
    open_debug_port();
    write_port(control_port, erase_all_register, 1);
    EXPECT_EQ(read_port(control_port, erase_all_status), 1U);
    const std::uint64_t before = JLINKSIM_time_ns();
    std::this_thread::sleep_for(std::chrono::milliseconds{180});
    EXPECT_EQ(JLINKSIM_time_ns(), before) << "sleeping is not part of the modelled time";
    EXPECT_EQ(read_port(control_port, erase_all_status), 0U);
}

TEST(EraseAll, isAbortedByAResetAndRecorded)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "protected = true\nflash_fill = 0\n");
    open_debug_port();
    write_port(control_port, erase_all_register, 1);
    write_port(control_port, erase_all_register, 1);
    pulse_control_reset();
    EXPECT_EQ(bench.peek_word(0), 0U);
    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("erase-all-busy"), StartsWith("erase-all-aborted")));
}

TEST(EraseAll, neverEndsOrFailsWhenTheBenchSaysSo)
{
    {
        TempBench bench =
            TempBench::with_chip("BIRCH_M1_VA_REV2", "protected = true\nfaults = [\"erase_never_ends\"]\n");
        open_debug_port();
        write_port(control_port, erase_all_register, 1);
        for (int polls = 0; polls < 1000; ++polls) {
            ASSERT_EQ(read_port(control_port, erase_all_status), 1U);
        }
        pulse_control_reset();
        EXPECT_EQ(read_port(control_port, protection_status), 0U);
        bench.take_records();
    }
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "faults = [\"ctrl_ap_fails\"]\n");
    open_debug_port();
    std::uint32_t value = 0;
    EXPECT_EQ(JLINKARM_CORESIGHT_WriteAPDPReg(2, 0, 0x01000000), 0);
    EXPECT_LT(JLINKARM_CORESIGHT_WriteAPDPReg(1, 1, 1), 0);
    EXPECT_LT(JLINKARM_CORESIGHT_ReadAPDPReg(2, 1, &value), 0);
}

TEST(ControlPort, holdsTheChipInResetUntilItIsReleased)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    open_debug_port();
    write_port(control_port, reset_register, 1);
    EXPECT_LT(JLINKARM_Connect(), 0);
    // Also for the session after this one.
    JLINKARM_Close();
    open_debug_port();
    EXPECT_EQ(read_port(control_port, reset_register), 1U);
    write_port(control_port, reset_register, 0);
    EXPECT_GE(JLINKARM_Connect(), 0);
}

TEST(ControlPort, isMissingWhereTheChipHasNone)
{
    TempBench bench = TempBench::with_chip("BIRCH_M1_VA_ENGA");
    connect_halted();
    EXPECT_EQ(read_port(control_port, identification), 0U);
    EXPECT_TRUE(bench.take_records().empty());
    EXPECT_EQ(read_port(control_port, protection_status), 0U);
    EXPECT_THAT(bench.take_records(), ElementsAre(StartsWith("access-port-absent")));
    // Without the port there is no way back, and so no protection either.
    program_word(protection_word, 0xFFFFFF00);
    EXPECT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(read_word(protection_word), 0xFFFFFF00U);
}

} // namespace
} // namespace tessit_test
