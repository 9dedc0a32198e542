// Breakpoints, watchpoints, cycle counter and bit bands: what a debugger that has only memory accesses works with.
#include "tests/sim/program_board.h"

namespace tessit_test {
namespace {

constexpr std::uint32_t cycle_count = 0xE0001004;
constexpr std::uint32_t watch_address = 0xE0001020;
constexpr std::uint32_t watch_mask = 0xE0001024;
constexpr std::uint32_t watch_function = 0xE0001028;
constexpr std::uint32_t breakpoints = 0xE0002000;
constexpr std::uint32_t data = ram + 0x100;

/// A loop that is halted at its begin; R1 is `data`.
///  0: nop  2: str r0, [r1]  4: ldrb r2, [r1, #2]  6: strh r0, [r1, #4]  8 (wide): str r0, [r1, #9]  12: nop  14: b 0
class Loop : public Program
{
public:
    Loop() : Program{{0xBF00, 0x6008, 0x788A, 0x8088, 0xF8C1, 0x0009, 0xBF00, 0xE7F7}}
    {
        EXPECT_EQ(JLINKARM_WriteReg(1, data), 0);
        write_word(exception_monitor, 1U << 24); // the units are on
    }

    /// Where it halts, or 0 when it goes on.
    static std::uint32_t run() { return Program::run() == 1 ? JLINKARM_ReadReg(pc) : 0; }
};

TEST(DebugUnits, ABreakpointHaltsInFrontOfItsInstruction)
{
    const Loop loop;
    EXPECT_EQ(read_word(breakpoints), 6U << 4) << "six comparators";
    write_word(breakpoints + 8 + 4 * 5, 1U << 31 | entry | 1); // the upper halfword
    EXPECT_EQ(Loop::run(), 0U) << "the unit is off";
    write_word(breakpoints, 1);
    EXPECT_EQ(Loop::run(), 0U) << "switched on without its key";
    write_word(breakpoints, 3);
    write_word(debug_faults, ~0U);
    EXPECT_EQ(Loop::run(), entry + 2);
    EXPECT_EQ(read_word(debug_faults), 2U);
    EXPECT_EQ(Loop::run(), entry + 2) << "there it stays";
    write_word(breakpoints + 8, 3U << 30 | (entry + 4) | 1); // both halfwords
    write_word(breakpoints + 8 + 4 * 5, 0);
    EXPECT_EQ(Loop::run(), entry + 4);
    write_word(breakpoints, 2);
    EXPECT_EQ(JLINKARM_Step(), 0);
    EXPECT_EQ(JLINKARM_ReadReg(pc), entry + 6);
}

TEST(DebugUnits, AWatchpointHaltsBehindTheAccess)
{
    struct Row
    {
        const char* what;
        std::uint32_t address;
        std::uint32_t mask;
        std::uint32_t function;
        std::uint32_t pc; ///< 0: not met
    };
    constexpr std::uint32_t on_read = 5;
    constexpr std::uint32_t on_write = 6;
    constexpr std::uint32_t on_access = 7;
    const std::vector<Row> rows{
        {"a word is written", data, 2, on_write, entry + 4},
        {"a byte is read", data + 2, 0, on_read, entry + 6},
        {"the word of the byte", data, 2, on_read, entry + 6},
        {"either", data, 2, on_access, entry + 4},
        {"the upper half of what is written", data + 3, 0, on_write, entry + 4},
        {"a halfword is not read", data + 4, 1, on_read, 0},
        {"a halfword is written", data + 4, 1, on_write, entry + 8},
        {"beside all of them", data + 6, 1, on_access, 0},
        {"an access over a word's end", data + 12, 2, on_write, entry + 12},
        {"a large range", ram, 10, on_read, entry + 6},
        {"off", data, 2, 0, 0},
    };
    const Loop loop;
    for (const Row& row : rows) {
        for (const std::uint32_t comparator : {0U, 3U}) {
            SCOPED_TRACE(row.what);
            EXPECT_EQ(JLINKARM_WriteReg(pc, entry), 0);
            write_word(watch_address + 16 * comparator, row.address);
            write_word(watch_mask + 16 * comparator, row.mask);
            write_word(watch_function + 16 * comparator, row.function);
            write_word(debug_faults, ~0U);
            EXPECT_EQ(Loop::run(), row.pc);
            EXPECT_EQ(read_word(debug_faults), row.pc == 0 ? 1U : 4U);
            EXPECT_EQ(read_word(watch_function + 16 * comparator), row.function | (row.pc == 0 ? 0U : 1U << 24));
            EXPECT_EQ(read_word(watch_function + 16 * comparator), row.function) << "reading takes the flag away";
            write_word(watch_function + 16 * comparator, 0);
        }
    }
    write_word(watch_function, on_access);
    write_word(exception_monitor, 0);
    EXPECT_EQ(Loop::run(), 0U) << "the unit is off";
}

TEST(DebugUnits, TheCycleCounterCountsInstructions)
{
    const Loop loop;
    write_word(cycle_count, 0xFFFFFFFE);
    write_word(cycle_count - 4, 1);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(JLINKARM_Step(), 0);
    }
    EXPECT_EQ(read_word(cycle_count), 3U);
    write_word(exception_monitor, 0);
    EXPECT_EQ(JLINKARM_Step(), 0);
    EXPECT_EQ(read_word(cycle_count), 3U);
}

TEST(DebugUnits, ATrapMakesUnalignedAccessesFaults)
{
    Loop loop;
    EXPECT_EQ(Loop::run(), 0U);
    write_word(0xE000ED14, 0x208);           // CCR: trap them
    write_word(exception_monitor, 1U << 10); // catch the HardFault
    EXPECT_EQ(JLINKARM_WriteReg(pc, entry), 0);
    EXPECT_NE(Loop::run(), 0U);
    EXPECT_EQ(read_word(0xE000ED28), 1U << 24);
    EXPECT_THAT(loop.take_records(), begin_with("cpu-fault: write of 4 bytes at 0x20000109 not aligned"));
}

TEST(DebugUnits, RegistersAreReachedBySelectors)
{
    const Loop loop;
    write_word(0xE000ED88, 0x00F00000);
    const auto read = [](std::uint32_t selector) {
        write_word(register_selector, selector);
        return read_word(register_data);
    };
    const auto write = [](std::uint32_t selector, std::uint32_t value) {
        write_word(register_data, value);
        write_word(register_selector, selector | 1U << 16);
    };
    for (std::uint32_t single = 0; single < 32; ++single) {
        write(64 + single, 0x3F800000 + single);
    }
    write(33, 0x03000000);
    write(18, 0x20000800);
    write(20, 0x03012001); // CONTROL: unprivileged, process stack; FAULTMASK; BASEPRI; PRIMASK
    close_probe();
    connect_halted();
    for (std::uint32_t single = 0; single < 32; ++single) {
        EXPECT_EQ(read(64 + single), 0x3F800000 + single);
    }
    EXPECT_EQ(read(33), 0x03000000U);
    EXPECT_EQ(read(20), 0x03012001U);
    EXPECT_EQ(read(13), 0x20000800U);
}

TEST(DebugUnits, AResetIsSeenOnce)
{
    const Loop loop;
    EXPECT_NE(read_word(debug_control) & 1U << 25, 0U);
    EXPECT_EQ(read_word(debug_control) & 1U << 25, 0U);
}

TEST(DebugUnits, ABitHasAWordOfItsOwn)
{
    const Loop loop;
    write_word(data, 0xF0);
    constexpr std::uint32_t alias = 0x22000000 + 0x100 * 32;
    write_word(alias + 4 * 1, 0xFF);
    write_word(alias + 4 * 5, 0xFE);
    write_word(alias + 4 * 31, 1);
    EXPECT_EQ(read_word(data), 0x800000D2U);
    EXPECT_EQ(read_word(alias + 4 * 31), 1U);
    EXPECT_EQ(read_word(alias + 4 * 30), 0U);
    const std::uint8_t one = 1;
    EXPECT_EQ(JLINKARM_WriteMem(alias, 1, &one), 1);
    EXPECT_EQ(read_word(data), 0x800000D3U);
    // A peripheral's: RAMON of the first section.
    EXPECT_EQ(read_word(0x42000000 + 0x900 * 32), read_word(0x40000900) & 1U);
}

} // namespace
} // namespace tessit_test
