// What a debugger sees of exceptions, and the ends that they can have.
#include "tests/sim/program_board.h"
#include "tests/sim/qspi_board.h"

namespace tessit_test {
namespace {

constexpr std::uint32_t sys_tick_control = 0xE000E010;
constexpr std::uint32_t interrupt_priorities = 0xE000E400;
constexpr std::uint32_t pend_sys_tick = 1U << 26;

TEST(Exceptions, AStepTakesAnExceptionThatWaitsUnlessItMasksThem)
{
    const Program program{{0xBF00, 0xBF00, 0xE7FE}, {0x4770}}; // nop; nop; b .; the handler: bx lr
    write_word(interrupt_control, pend_sys_tick);
    EXPECT_EQ(read_word(interrupt_control), pend_sys_tick | 15U << 12 | 1U << 11);
    EXPECT_EQ(JLINKARM_Step(), 0);
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry + 2);
    write_word(debug_control, 0xA05F000D); // step, with interrupts masked
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry + 4);
    EXPECT_EQ(JLINKARM_WriteReg(0, 0x1234), 0);
    write_word(debug_control, 0xA05F0005); // step
    EXPECT_EQ(JLINKARM_ReadReg(pc), handler);
    EXPECT_EQ(JLINKARM_ReadReg(xpsr) & 0x1FFU, 15U);
    EXPECT_EQ(JLINKARM_ReadReg(lr), 0xFFFFFFF9U);
    EXPECT_EQ(JLINKARM_ReadReg(msp), stack - 0x20);
    EXPECT_EQ(read_word(stack - 0x20), 0x1234U);
    EXPECT_EQ(read_word(stack - 8), entry + 4);
    EXPECT_EQ(read_word(interrupt_control), 15U | 1U << 11);
    EXPECT_EQ(read_word(handlers), 1U << 11) << "active";
    // The next session finds it in the handler, and goes on to its end.
    close_probe();
    connect_halted();
    write_word(debug_control, 0xA05F0005);
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry + 4);
    EXPECT_EQ(JLINKARM_ReadReg(msp), stack);
    EXPECT_EQ(read_word(handlers), 0U);
}

TEST(Exceptions, FaultsEndInTheirHandlersOrInALockUp)
{
    struct Row
    {
        const char* what;
        std::vector<std::uint16_t> code;
        std::vector<std::uint16_t> handler;
        std::uint32_t enabled; ///< handlers: SHCSR
        std::uint32_t catches; ///< DEMCR
        std::uint32_t pc;
        std::uint32_t exception; ///< in XPSR
        std::uint32_t causes;    ///< CFSR
        std::uint32_t hard;      ///< HFSR
        std::uint32_t event;     ///< DFSR
        std::size_t records;
        std::uint32_t state; ///< until the host halts it, as Program::run says
    };
    enum State : std::uint32_t
    {
        runs = 0,
        halts = 1,
        sleeps = 2,
        locks_up = 4,
    };
    constexpr std::uint32_t forced = 1U << 30;
    constexpr std::uint32_t usage = 1U << 18;
    constexpr std::uint32_t nowhere = 0xFFFFFFFE;
    constexpr std::uint32_t requested = 1;
    constexpr std::uint32_t caught = 8;
    // clang-format off
    const std::vector<Row> rows{
        {"HardFault", {0xDE00}, {0xE7FE}, 0, 0, handler, 3, 1U << 16, forced, requested, 1, runs},
        {"UsageFault", {0xDE00}, {0xE7FE}, usage, 0, handler, 6, 1U << 16, 0, requested, 0, runs},
        {"caught HardFault", {0xDE00}, {0xBF00}, 0, 1U << 10, handler, 3, 1U << 16, forced, caught, 1, halts},
        {"caught UsageFault", {0xDE00}, {0xBF00}, usage, 1U << 7, handler, 6, 1U << 16, 0, caught, 0, halts},
        {"another one is caught", {0xDE00}, {0xE7FE}, usage, 1U << 6, handler, 6, 1U << 16, 0, requested, 0, runs},
        {"a fault in HardFault", {0xDE00}, {0xDE00}, 0, 0, nowhere, 3, 1U << 16, forced, requested, 2, locks_up},
        {"a fault in UsageFault", {0xDE00}, {0xDE00}, usage, 0, nowhere, 3, 1U << 16, forced, requested, 2, locks_up},
        {"no handler", {0xDE00}, {}, 0, 0, nowhere, 3, 3U << 16, forced, requested, 2, locks_up},
        {"no Thumb code", {0x4700}, {0xE7FE}, 0, 0, handler, 3, 1U << 17, forced, requested, 1, runs}, // bx r0
        {"SVC with PRIMASK set", {0xB672, 0xDF00}, {0xE7FE}, 0, 0, handler, 3, 0, forced, requested, 1, runs},
        // mvn lr, #6: a return to thread mode, in thread mode; mvn lr, #14: to a handler, from the only one
        {"a return outside handlers", {0xF06F, 0x0E06, 0x4770}, {0xE7FE}, 0, 0, handler, 3, 1, forced, requested, 1, runs},
        {"a return to nowhere", {0xDF00}, {0xF06F, 0x0E0E, 0x4770}, usage, 1U << 7, handler, 6, 1U << 18, 0, caught, 0, halts},
        // mov r0, #0x30000000; msr msp, r0; svc
        {"no stack", {0xF04F, 0x5040, 0xF380, 0x8808, 0xDF00}, {0xBF00}, 0, 1U << 9, handler, 3, 1U << 12, forced, caught, 2, halts},
        // vmov s0, r0 with the unit off
        {"no FPU", {0xEE00, 0x0A10}, {0xE7FE}, usage, 0, handler, 6, 1U << 19, 0, requested, 0, runs},
        {"a breakpoint", {0xBF00, 0xBE00}, {0xE7FE}, 0, 0, entry + 2, 0, 0, 0, 2, 0, halts},
        {"WFI", {0xBF30, 0xE7FE}, {0xE7FE}, 0, 0, entry + 2, 0, 0, 0, requested, 0, sleeps},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Program program{row.code, row.handler};
        program.take_records();
        write_word(handlers, row.enabled);
        write_word(exception_monitor, row.catches);
        EXPECT_EQ(Program::run(), row.state);
        EXPECT_EQ(JLINKARM_ReadReg(pc), row.pc);
        EXPECT_EQ(JLINKARM_ReadReg(xpsr) & 0x1FFU, row.exception);
        EXPECT_EQ(read_word(fault_status), row.causes);
        EXPECT_EQ(read_word(hard_fault_status), row.hard);
        EXPECT_EQ(read_word(debug_faults), row.event);
        EXPECT_EQ(program.take_records().size(), row.records);
    }
}

TEST(Exceptions, TheTimerCountsInstructionsToTheCycle)
{
    // ldr r0, =SYST_CSR; movs r1, #99; str r1, [r0, #4]; nop; movs r1, #5; str r1, [r0]; nop; nop; nop;
    // ldr r2, [r0, #8]; 130 nops; ldr r3, [r0]; ldr r4, [r0]; b .
    std::vector<std::uint16_t> code{0xF24E, 0x0010, 0xF2CE, 0x0000, 0x2163, 0x6041, 0xBF00,
                                    0x2105, 0x6001, 0xBF00, 0xBF00, 0xBF00, 0x6882};
    code.insert(code.end(), 130, 0xBF00);
    code.insert(code.end(), {0x6803, 0x6804, 0xE7FE});
    const Program program{code};
    Program::run();
    EXPECT_EQ(JLINKARM_ReadReg(2), 96U) << "loaded with 99 in the cycle that starts it";
    EXPECT_EQ(JLINKARM_ReadReg(3), 0x10005U);
    EXPECT_EQ(JLINKARM_ReadReg(4), 5U) << "reading takes the flag away";
    EXPECT_EQ(JLINKARM_ReadReg(xpsr) & 0x1FFU, 0U) << "no exception was asked for";
}

TEST(Exceptions, APeripheralWakesTheCpuWhenItsTimeHasCome)
{
    // str r1, [r0, #0x500]; str r1, [r0]; wfi; str r1, [r0, #0x10]; str r1, [r0, #0x54]; str r2, [r0, #0x500]; b .
    const std::vector<std::uint16_t> code{0xF8C0, 0x1500, 0x6001, 0xBF30, 0x6101, 0x6541, 0xF8C0, 0x2500, 0xE7FE};
    // ldr r5, [r6, #8]; adds r4, #1; str r2, [r0, #0x100]; bx lr
    const Program program{code, {0x68B5, 0x3401, 0xF8C0, 0x2100, 0x4770}, m2};
    configure_lines();
    write_word(0xE000E104, 1U << (41 - 32));
    write_word(qspi + 0x304, 1); // interrupt at READY
    write_word(sys_tick_control + 4, 0xFFFFFF);
    write_word(sys_tick_control, 5);
    const std::vector<std::pair<std::uint32_t, std::uint32_t>> registers{{0, qspi}, {1, 1}, {6, sys_tick_control}};
    for (const auto& [index, value] : registers) {
        EXPECT_EQ(JLINKARM_WriteReg(index, value), 0);
    }
    Program::run();
    EXPECT_EQ(JLINKARM_ReadReg(4), 1U) << "once: the handler cleared the event";
    EXPECT_NEAR(0xFFFFFF - JLINKARM_ReadReg(5), 640, 2) << "10 us after its activation";
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry + 16);
}

TEST(Exceptions, AResetTakesAwayWhatAPeripheralHasPended)
{
    constexpr std::uint32_t second_pending = 0xE000E204;
    HaltedChip chip{m2};
    write_word(qspi + 0x304, 1);
    start();
    EXPECT_EQ(read_word(second_pending), 1U << (41 - 32));
    ASSERT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(read_word(second_pending), 0U);
    chip.take_records(); // the interface was left on
}

TEST(Exceptions, PrioritiesAreWrittenByTheByte)
{
    Program program{{0xE7FE}};
    const auto write_byte = [](std::uint32_t address, std::uint8_t value) {
        EXPECT_EQ(JLINKARM_WriteMem(address, 1, &value), 1);
    };
    write_byte(interrupt_priorities + 5, 0xFF);
    EXPECT_EQ(read_word(interrupt_priorities + 4), 0xE000U);
    write_byte(0xE000ED23, 0x47); // SysTick
    EXPECT_EQ(read_word(0xE000ED20), 0x40000000U);
    write_byte(sys_tick_control, 1);
    EXPECT_THAT(program.take_records(), begin_with("register-not-word"));
}

} // namespace
} // namespace tessit_test
