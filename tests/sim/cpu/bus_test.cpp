#include "tests/sim/cpu/board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace jlinksim {
namespace {

using testing::ElementsAre;
constexpr auto read = Access::Kind::read;
constexpr auto write = Access::Kind::write;

class Bus : public testing::Test, public Board
{
public:
    /// With R0 = `address`, R1 = 0x89ABCDEF, R2 = 0x01234567.
    RunResult execute(const std::vector<unsigned>& code, std::uint32_t address)
    {
        put(0x100, code);
        put(0x100 + 2 * static_cast<std::uint32_t>(code.size()), {0xBE00});
        set_pc(0x100);
        set_r(0, address);
        set_r(1, 0x89ABCDEF);
        set_r(2, 0x01234567);
        accesses.clear();
        return cpu.run(100);
    }
};

TEST_F(Bus, CarriesReadsOfEveryWidth)
{
    struct Row
    {
        const char* what;
        std::vector<unsigned> code;
        std::uint32_t address;
        unsigned width;
        std::uint32_t result; ///< in R1
    };
    const std::vector<Row> rows{
        {"ldr", {0x6801}, 0x40000508, 4, 0x40000508},
        {"ldrh", {0x8801}, 0x4000A50A, 2, 0xA50A},
        {"ldrb", {0x7801}, 0x400000C3, 1, 0xC3},
        {"ldrsh", {0xF9B0, 0x1000}, 0x4000A50A, 2, 0xFFFFA50A},
        {"ldrsb", {0xF990, 0x1000}, 0x400000C3, 1, 0xFFFFFFC3},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(execute(row.code, row.address).why, StopReason::breakpoint);
        const std::uint32_t seen = row.address & (~0U >> (32U - 8U * row.width));
        EXPECT_THAT(accesses, ElementsAre(Access{read, row.address, row.width, seen}));
        EXPECT_EQ(r(1), row.result);
    }
}

TEST_F(Bus, CarriesWritesOfEveryWidthWithoutStrayBits)
{
    const std::vector<std::pair<std::vector<unsigned>, Access>> rows{
        {{0x6001}, {write, 0x40000504, 4, 0x89ABCDEF}},
        {{0x8001}, {write, 0x40000504, 2, 0xCDEF}},
        {{0x7001}, {write, 0x40000504, 1, 0xEF}},
    };
    for (const auto& [code, expected] : rows) {
        EXPECT_EQ(execute(code, 0x40000504).why, StopReason::breakpoint);
        EXPECT_THAT(accesses, ElementsAre(expected));
    }
}

TEST_F(Bus, SplitsWhatIsWiderThanAWord)
{
    execute({0xE9C0, 0x1202, 0xC006}, peripherals); // strd r1, r2, [r0, #8]; stmia r0!, {r1, r2}
    EXPECT_THAT(accesses,
                ElementsAre(Access{write, 0x40000008, 4, 0x89ABCDEF}, Access{write, 0x4000000C, 4, 0x01234567},
                            Access{write, 0x40000000, 4, 0x89ABCDEF}, Access{write, 0x40000004, 4, 0x01234567}));
    EXPECT_EQ(r(0), peripherals + 8);

    execute({0xED90, 0x0B02, 0xED80, 0x0B04}, peripherals); // vldr d0, [r0, #8]; vstr d0, [r0, #16]
    EXPECT_THAT(accesses,
                ElementsAre(Access{read, 0x40000008, 4, 0x40000008}, Access{read, 0x4000000C, 4, 0x4000000C},
                            Access{write, 0x40000010, 4, 0x40000008}, Access{write, 0x40000014, 4, 0x4000000C}));
}

TEST_F(Bus, IsNotAskedForFlashAndRam)
{
    ram[0x100] = 0x3C;
    EXPECT_EQ(execute({0x6801, 0x6002, 0x7803}, ram_base + 0x100).why, StopReason::breakpoint);
    EXPECT_EQ(r(1), 0x3C);
    EXPECT_EQ(word(ram_base + 0x100), 0x01234567);
    EXPECT_EQ(execute({0x6801}, 0x100).why, StopReason::breakpoint);
    EXPECT_EQ(r(1), 0xBE006801);
    EXPECT_TRUE(accesses.empty());
}

TEST_F(Bus, IsNotAskedAtTheSeamOfTwoMemories)
{
    const std::span<std::uint8_t> all{ram};
    std::vector<DirectMemory> sections{memories()[0],
                                       {.base = ram_base, .bytes = all.first(0x2000), .writable = true},
                                       {.base = ram_base + 0x2000, .bytes = all.subspan(0x2000), .writable = true}};
    cpu.set_memories(sections);
    EXPECT_EQ(execute({0x6002, 0x6803}, ram_base + 0x1FFE).why, StopReason::breakpoint); // str r2, [r0]; ldr r3, [r0]
    EXPECT_EQ(word(ram_base + 0x1FFE), 0x01234567);
    EXPECT_EQ(r(3), 0x01234567);
    EXPECT_TRUE(accesses.empty());
    sections[1].writable = false;
    cpu.set_memories(sections);
    EXPECT_EQ(execute({0x6002}, ram_base).why, StopReason::fault);
}

TEST_F(Bus, LeavesRegistersAloneWhenItRefusesInTheMiddleOfAnInstruction)
{
    // ldmia r0!, {r1, r2, r3} and stmia over the end of RAM
    for (const unsigned code : {0xC80EU, 0xC00EU}) {
        SCOPED_TRACE(code);
        const RunResult result = execute({code}, ram_base + 0x3FF8);
        EXPECT_EQ(result.why, StopReason::fault);
        EXPECT_EQ(accesses.size(), 1);
        EXPECT_EQ(accesses[0].address, ram_base + 0x4000);
        EXPECT_EQ(r(0), ram_base + 0x3FF8) << "no write-back";
        EXPECT_EQ(pc(), 0x100);
    }
}

TEST_F(Bus, DecidesWhatAWriteToFlashDoes)
{
    put_word(0x800, 0xF0F0F0F0);
    put_word(0x804, 0xFFFFFFFF);
    // stmia r0!, {r1, r2}; ldr r3, [r0, #-8]
    EXPECT_EQ(execute({0xC006, 0xF850, 0x3C08}, 0x800).why, StopReason::breakpoint);
    EXPECT_THAT(accesses, ElementsAre(Access{write, 0x800, 4, 0x89ABCDEF}, Access{write, 0x804, 4, 0x01234567}));
    EXPECT_EQ(word(0x800), 0x89ABCDEF & 0xF0F0F0F0) << "not what the firmware wrote, but what the bus made of it";
    EXPECT_EQ(word(0x804), 0x01234567);
    EXPECT_EQ(r(3), 0x89ABCDEF & 0xF0F0F0F0);
    EXPECT_EQ(execute({0x7041}, 0x800).why, StopReason::breakpoint); // strb r1, [r0, #1]
    EXPECT_THAT(accesses, ElementsAre(Access{write, 0x801, 1, 0xEF}));
    EXPECT_EQ(execute({0xBF18, 0x6002}, 0x800).why, StopReason::breakpoint); // it ne; strne r2, [r0]
    EXPECT_EQ(word(0x800), 0x80A0C0E0 & 0x01234567);
}

TEST_F(Bus, MayChangeCodeUnderTheRunningFirmware)
{
    put(0x200, {0x23FF, 0x4770}); // movs r3, #255; bx lr
    set_r(4, 0x201);
    execute({0x47A0, 0x8001, 0x47A0}, 0x200);            // blx r4; strh r1, [r0]; blx r4
    EXPECT_EQ(word(0x200) & 0xFFFFU, 0x23FFU & 0xCDEFU); // 0x01EF is lsls r7, r5, #7
    EXPECT_EQ(pc(), 0x106);
}

/// Switches RAM off when the firmware writes to 0x40000524, as a power controller does.
class PowerBus : public Bus
{
public:
    bool cpu_write(std::uint32_t address, unsigned width, std::uint32_t value) override
    {
        if (address == 0x40000524) {
            const std::vector<DirectMemory> all = memories();
            cpu.set_memories(std::span{all}.first(value == 0 ? 1 : 2));
        }
        return Board::cpu_write(address, width, value);
    }
};

TEST_F(PowerBus, TakesMemoryAwayFromTheRunningFirmware)
{
    set_r(3, ram_base);
    set_r(4, 0);
    const RunResult result = execute({0x681D, 0x6004, 0x681D}, 0x40000524); // ldr r5, [r3]; str r4, [r0]; ldr r5, [r3]
    EXPECT_EQ(result.why, StopReason::fault);
    EXPECT_EQ(result.instructions, 2);
    EXPECT_EQ(pc(), 0x104);
}

} // namespace
} // namespace jlinksim
