#include "tests/sim/program_board.h"

namespace tessit_test {
namespace {

constexpr std::uint32_t counter = ram + 0x100;

/// ldr r0, counter; 1: ldr r1, [r0]; adds r1, #1; str r1, [r0]; b 1; nop; the counter's address
const std::vector<std::uint16_t> counting{0x4802, 0x6801, 0x3101, 0x6001, 0xE7FB, 0xBF00, 0x0100, 0x2000};

TEST(RunControl, timePassesForAHostThatWaitsAndForACpuThatRuns)
{
    const Program program{counting};
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry);
    EXPECT_EQ(JLINKARM_ReadReg(sp), stack);
    write_word(counter, 0);
    constexpr std::uint64_t wait = 100'000'000; // more than a chip lives in one call
    const auto timed = [&] {
        const std::uint64_t begin = JLINKSIM_time_ns();
        EXPECT_EQ(JLINKSIM_pass_time(wait), 0);
        return JLINKSIM_time_ns() - begin;
    };
    EXPECT_EQ(timed(), wait);
    EXPECT_EQ(read_word(counter), 0U) << "halted";
#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing
    for (const std::uint32_t offset : {2U, 4U, 6U, 8U, 2U}) {
        EXPECT_EQ(JLINKARM_Step(), 0);
        EXPECT_EQ(JLINKARM_ReadReg(pc), entry + offset);
    }
    EXPECT_EQ(read_word(counter), 1U);
#endif
    JLINKARM_Go();
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    EXPECT_NE(JLINKARM_Step(), 0) << "a running CPU cannot be stepped";
    EXPECT_EQ(timed(), wait);
#if defined(TESSIT_SIM_CPU_UNICORN)
    EXPECT_NEAR(read_word(counter), static_cast<double>(wait) / 1000 * 64 / 4, 20'000);
#endif
    close_probe();
    EXPECT_EQ(timed(), wait) << "without a session";
}

TEST(RunControl, keepsAllRegistersOfAHaltedCpuOnly)
{
    Program program{counting};
    for (std::uint32_t index = 0; index < 13; ++index) {
        EXPECT_EQ(JLINKARM_WriteReg(index, 0x1000 + index), 0);
    }
    EXPECT_EQ(JLINKARM_WriteReg(msp, ram + 0x800), 0);
    EXPECT_EQ(JLINKARM_WriteReg(psp, ram + 0x400), 0);
    close_probe();
    connect_halted();
    for (std::uint32_t index = 0; index < 13; ++index) {
        EXPECT_EQ(JLINKARM_ReadReg(index), 0x1000 + index);
    }
    EXPECT_EQ(JLINKARM_ReadReg(sp), ram + 0x800);
    EXPECT_EQ(JLINKARM_ReadReg(psp), ram + 0x400);
    EXPECT_TRUE(program.take_records().empty());
    JLINKARM_Go();
    EXPECT_EQ(JLINKARM_ReadReg(2), 0U);
    EXPECT_EQ(JLINKARM_WriteReg(2, 1), 1);
    EXPECT_THAT(program.take_records(), begin_with("cpu-running", "cpu-running"));
}

TEST(RunControl, isReachableThroughTheCoresDebugRegisters)
{
    Program program{counting};
    write_word(debug_control, 0xA05F0001); // run
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    write_word(debug_control, 0x00000003); // without its key
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    EXPECT_THAT(program.take_records(), begin_with("register-key"));
    write_word(debug_control, 0xA05F0003); // halt
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    write_word(register_data, 0x1234);
    write_word(register_selector, 0x10005);
    EXPECT_EQ(JLINKARM_ReadReg(5), 0x1234U);

    write_word(debug_control, 0xA05F0001);
    write_word(exception_monitor, 1);   // catch the next reset
    write_word(0xE000ED0C, 0x05FA0004); // and ask for it
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry);
}

TEST(RunControl, leavesTheRunStateToTheNextSessionAsTheHostChose)
{
    for (const bool restarts : {false, true}) {
        const Program program{counting};
        EXPECT_EQ(command(restarts ? "SetRestartOnClose = 1" : "SetRestartOnClose = 0"), "");
        close_probe();
        ASSERT_TRUE(open_probe());
        ASSERT_GE(JLINKARM_Connect(), 0);
        EXPECT_EQ(JLINKARM_IsHalted(), restarts ? 0 : 1);
    }
}

#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing

TEST(RunControl, aResetThatFirmwareAsksForComesBeforeItsNextInstruction)
{
    const Program program{{
        0x4804, 0x6801, 0x3101, 0x6001,                 // ldr r0, counter; ldr r1, [r0]; adds r1, #1; str r1, [r0]
        0x4903, 0x4A04, 0x600A,                         // ldr r1, AIRCR; ldr r2, key and request; str r2, [r1]
        0x6041, 0xE7FE, 0xBF00,                         // str r1, [r0, #4]; b .
        0x0100, 0x2000, 0xED0C, 0xE000, 0x0004, 0x05FA, // counter, AIRCR, key and request
    }};
    write_word(counter, 0);
    write_word(counter + 4, 0);
    Program::run();
    EXPECT_GT(read_word(counter), 1U);
    EXPECT_EQ(read_word(counter + 4), 0U);
}

TEST(RunControl, theNextSessionFindsTheWholeCpuAsItWas)
{
    const Program program{{
        0x4803, 0xF380, 0x8809, 0x2003, // ldr r0, 0x20002000; msr psp, r0; movs r0, #3
        0xF380, 0x8814, 0xB401, 0xE7FE, // msr control, r0; push {r0}; b .
        0x2000, 0x2000,                 // 0x20002000
    }};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(JLINKARM_Step(), 0);
    }
    close_probe();
    connect_halted();
    EXPECT_EQ(JLINKARM_ReadReg(sp), ram + 0x2000);
    EXPECT_EQ(JLINKARM_ReadReg(msp), stack);
    EXPECT_EQ(JLINKARM_Step(), 0); // unprivileged, on the process stack
    EXPECT_EQ(JLINKARM_ReadReg(sp), ram + 0x1FFC);
    EXPECT_EQ(JLINKARM_ReadReg(psp), ram + 0x1FFC);
    EXPECT_EQ(read_word(ram + 0x1FFC), 3U);
}

#endif

} // namespace
} // namespace tessit_test
