#include "tests/sim/target_session.h"

#include <array>
#include <fstream>
#include <span>
#include <vector>

namespace tessit_test {
namespace {

constexpr unsigned program_counter = 15;
constexpr std::uint32_t fault_status = 0xE000ED28;
constexpr std::uint32_t hard_fault_status = 0xE000ED2C;
constexpr std::uint32_t debug_faults = 0xE000ED30;
constexpr std::uint32_t bus_fault_address = 0xE000ED38;
constexpr std::uint32_t debug_control = 0xE000EDF0;
constexpr std::uint32_t counter = ram + 0x100;

/// A program at address 0 that counts in RAM: vectors, then the loop at 8, its constant at 20.
constexpr std::array<std::uint16_t, 12> counting_program{
    0x1000, 0x2000, 0x0009, 0x0000, // stack pointer 0x20001000, reset handler 8
    0x4802,                         //  8: ldr r0, [pc, #8]
    0x6801,                         // 10: ldr r1, [r0]
    0x3101,                         // 12: adds r1, #1
    0x6001,                         // 14: str r1, [r0]
    0xE7FB,                         // 16: b 10
    0xBF00,                         // 18: nop
    0x0100, 0x2000,                 // 20: counter
};

/// A bench whose chip holds a program, taken from halfwords.
TempBench bench_with_program(std::span<const std::uint16_t> program)
{
    const TempFolder image;
    const std::filesystem::path path = image.path() / "program.bin";
    std::ofstream{path, std::ios::binary}.write(reinterpret_cast<const char*>(program.data()),
                                                static_cast<std::streamsize>(program.size_bytes()));
    return TempBench::with_chip("BIRCH_M1_VA_REV2", "flash_file = \"" + path.string() + "\"\n");
}

TEST(RunControl, haltsStepsAndGoesOn)
{
    const TempBench bench = bench_with_program(counting_program);
    connect_halted();
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    ASSERT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_ReadReg(program_counter), 8U);
    EXPECT_EQ(JLINKARM_ReadReg(13), 0x20001000U);
    JLINKARM_Go();
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    EXPECT_NE(JLINKARM_Step(), 0) << "a running CPU cannot be stepped";
    EXPECT_EQ(JLINKARM_Halt(), 0);
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_Step(), 0);
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
}

TEST(RunControl, timePassesForAHostThatWaits)
{
    const TempBench bench = bench_with_program(counting_program);
    connect_halted();
    ASSERT_GE(JLINKARM_Reset(), 0);
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
    for (const std::uint32_t address : {10U, 12U, 14U, 16U, 10U}) {
        EXPECT_EQ(JLINKARM_Step(), 0);
        EXPECT_EQ(JLINKARM_ReadReg(program_counter), address);
    }
    EXPECT_EQ(read_word(counter), 1U);
#endif
    JLINKARM_Go();
    EXPECT_EQ(timed(), wait);
#if defined(TESSIT_SIM_CPU_UNICORN)
    EXPECT_NEAR(read_word(counter), static_cast<double>(wait) / 1000 * 64 / 4, 20'000);
#endif
    close_probe();
    EXPECT_EQ(timed(), wait) << "without a session";
}

TEST(RunControl, keepsAllRegistersOfAHaltedCpuOnly)
{
    TempBench bench = bench_with_program(counting_program);
    connect_halted();
    for (std::uint32_t index = 0; index < 13; ++index) {
        EXPECT_EQ(JLINKARM_WriteReg(index, 0x1000 + index), 0);
    }
    EXPECT_EQ(JLINKARM_WriteReg(17, 0x20000800), 0);
    EXPECT_EQ(JLINKARM_WriteReg(18, 0x20000400), 0);
    close_probe();
    connect_halted();
    for (std::uint32_t index = 0; index < 13; ++index) {
        EXPECT_EQ(JLINKARM_ReadReg(index), 0x1000 + index);
    }
    EXPECT_EQ(JLINKARM_ReadReg(13), 0x20000800U);
    EXPECT_EQ(JLINKARM_ReadReg(18), 0x20000400U);
    EXPECT_TRUE(bench.take_records().empty());

    ASSERT_GE(JLINKARM_Reset(), 0);
    JLINKARM_Go();
    EXPECT_EQ(JLINKARM_ReadReg(0), 0U);
    EXPECT_EQ(JLINKARM_WriteReg(0, 1), 1);
    EXPECT_THAT(bench.take_records(), begin_with("cpu-running", "cpu-running"));
}

TEST(RunControl, isReachableThroughTheCoresDebugRegisters)
{
    TempBench bench = bench_with_program(counting_program);
    ASSERT_TRUE(open_probe());
    ASSERT_GE(JLINKARM_Connect(), 0);
    write_word(debug_control, 0xA05F0003); // halt
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    write_word(0xE000EDF8, 0x1234); // write R5 through DCRDR and DCRSR
    write_word(0xE000EDF4, 0x10005);
    EXPECT_EQ(JLINKARM_ReadReg(5), 0x1234U);
    write_word(debug_control, 0xA05F0001); // run
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    write_word(debug_control, 0x00000003); // without its key
    EXPECT_EQ(JLINKARM_IsHalted(), 0);
    EXPECT_THAT(bench.take_records(), begin_with("register-key"));

    write_word(0xE000EDFC, 1);          // catch the next reset
    write_word(0xE000ED0C, 0x05FA0004); // and ask for it
    EXPECT_EQ(JLINKARM_IsHalted(), 1);
    EXPECT_EQ(JLINKARM_ReadReg(program_counter), 8U);
}

TEST(RunControl, leavesTheRunStateToTheNextSessionAsTheHostChose)
{
    struct Case
    {
        const char* setting;
        std::uint8_t halted;
    };
    for (const Case& host : {Case{"SetRestartOnClose = 0", 1}, Case{"SetRestartOnClose = 1", 0}}) {
        const TempBench bench = bench_with_program(counting_program);
        connect_halted();
        EXPECT_EQ(command(host.setting), "");
        close_probe();
        ASSERT_TRUE(open_probe());
        ASSERT_GE(JLINKARM_Connect(), 0);
        EXPECT_EQ(JLINKARM_IsHalted(), host.halted);
    }
}

#if defined(TESSIT_SIM_CPU_UNICORN) // the register-file CPU executes nothing

/// Let modelled time pass: a poll takes about a quarter of a millisecond, 16000 instructions.
void pass_time(int polls)
{
    for (int i = 0; i < polls; ++i) {
        JLINKARM_IsHalted();
    }
}

TEST(RunControl, aResetThatFirmwareAsksForComesBeforeItsNextInstruction)
{
    constexpr std::array<std::uint16_t, 20> program{
        0x1000, 0x2000, 0x0009, 0x0000,         // stack pointer 0x20001000, reset handler 8
        0x4804, 0x6801, 0x3101, 0x6001,         //  8: ldr r0, counter; ldr r1, [r0]; adds r1, #1; str r1, [r0]
        0x4903, 0x4A04, 0x600A,                 // 16: ldr r1, AIRCR; ldr r2, key and request; str r2, [r1]
        0x6041, 0xE7FE, 0xBF00,                 // 22: str r1, [r0, #4]; b .
        0x0100, 0x2000, 0xED0C, 0xE000, 0x0004, // 28: counter, AIRCR, key and request
        0x05FA,
    };
    const TempBench bench = bench_with_program(program);
    connect_halted();
    ASSERT_GE(JLINKARM_Reset(), 0);
    write_word(counter, 0);
    write_word(counter + 4, 0);
    JLINKARM_Go();
    pass_time(10);
    EXPECT_GT(read_word(counter), 5U);
    EXPECT_EQ(read_word(counter + 4), 0U);
}

TEST(RunControl, theNextSessionFindsTheWholeCpuAsItWas)
{
    constexpr std::array<std::uint16_t, 16> program{
        0x1000, 0x2000, 0x0009, 0x0000, // stack pointer 0x20001000, reset handler 8
        0x4803, 0xF380, 0x8809, 0x2003, //  8: ldr r0, 0x20002000; msr psp, r0; movs r0, #3
        0xF380, 0x8814, 0xB401, 0xE7FE, // 16: msr control, r0; push {r0}; b .
        0x2000, 0x2000,                 // 24: 0x20002000
    };
    const TempBench bench = bench_with_program(program);
    connect_halted();
    ASSERT_GE(JLINKARM_Reset(), 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(JLINKARM_Step(), 0);
    }
    close_probe();
    connect_halted();
    EXPECT_EQ(JLINKARM_ReadReg(13), 0x20002000U);
    EXPECT_EQ(JLINKARM_ReadReg(17), 0x20001000U);
    EXPECT_EQ(JLINKARM_Step(), 0); // unprivileged, on the process stack
    EXPECT_EQ(JLINKARM_ReadReg(13), 0x20001FFCU);
    EXPECT_EQ(JLINKARM_ReadReg(18), 0x20001FFCU);
    EXPECT_EQ(read_word(ram + 0x1FFC), 3U);
}

TEST(RunControl, stopsAtABreakpointSleepsInWfiAndLocksUpWithoutHandlers)
{
    struct Case
    {
        std::array<std::uint16_t, 3> code; ///< at address 8
        unsigned state;                    ///< bit of DHCSR
        std::uint32_t stopped_at;
        std::uint32_t faults;  ///< CFSR: of the fault, and of the handler's vector without bit 0
        std::uint32_t stopped; ///< DFSR, of this stop
        std::uint32_t address; ///< BFAR
    };
    constexpr unsigned halted = 17;
    constexpr unsigned asleep = 18;
    constexpr unsigned locked_up = 19;
    constexpr std::uint32_t nowhere = 0xFFFFFFFE;
    const std::array cases{
        Case{{0xBF00, 0xBE00, 0xE7FE}, halted, 10, 0, 0x2, 0},                        // nop; bkpt
        Case{{0xBF00, 0xBF30, 0xE7FE}, asleep, 12, 0, 0x1, 0},                        // nop; wfi
        Case{{0xBF00, 0xDE00, 0xE7FE}, locked_up, nowhere, 0x30000, 0x1, 0},          // nop; udf
        Case{{0x05C0, 0x6800, 0xE7FE}, locked_up, nowhere, 0x28200, 0x1, 0x04000000}, // lsls r0, #23; ldr r0, [r0]
        Case{{0xBF00, 0x4700, 0xE7FE}, locked_up, nowhere, 0x20000, 0x1, 0},          // nop; bx r0
    };
    for (const Case& program : cases) {
        SCOPED_TRACE(program.code[1]);
        std::vector<std::uint16_t> image{0x1000, 0x2000, 0x0009, 0x0000};
        image.insert(image.end(), program.code.begin(), program.code.end());
        TempBench bench = bench_with_program(image);
        connect_halted();
        ASSERT_GE(JLINKARM_Reset(), 0);
        bench.take_records();
        EXPECT_EQ(JLINKARM_WriteReg(0, 8), 0);
        write_word(debug_faults, ~0U);
        JLINKARM_Go();
        pass_time(3);
        EXPECT_EQ(read_word(debug_control) >> halted & 7U, 1U << (program.state - halted));
        EXPECT_EQ(JLINKARM_Halt(), 0);
        EXPECT_EQ(JLINKARM_ReadReg(program_counter), program.stopped_at);
        EXPECT_EQ(read_word(fault_status), program.faults);
        EXPECT_EQ(read_word(hard_fault_status), program.faults == 0 ? 0U : 1U << 30);
        EXPECT_EQ(read_word(debug_faults), program.stopped);
        EXPECT_EQ(read_word(bus_fault_address), program.address);
        EXPECT_EQ(bench.take_records().empty(), program.faults == 0);
    }
}

#endif

} // namespace
} // namespace tessit_test
