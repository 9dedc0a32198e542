#include "tests/sim/target_session.h"

#include <array>

namespace tessit_test {
namespace {

constexpr std::uint32_t ram_power(std::uint32_t block)
{
    return 0x40000900 + 0x10 * block;
}

TEST(SimulatedPower, showsTheMemoriesThatTheChipHas)
{
    struct Case
    {
        const char* version;
        std::uint32_t blocks; ///< with two small sections each
        std::uint32_t large_sections;
        std::uint32_t ram_bytes, flash_pages;
    };
    const std::array cases{
        Case{"BIRCH_M1_VA_REV2", 8, 0x00, 0x10000, 128}, Case{"BIRCH_M1_VB_REV1", 4, 0x00, 0x8000, 64},
        Case{"BIRCH_M2_VA_ENGB", 8, 0x3F, 0x40000, 256}, Case{"BIRCH_M3_VA_REV1", 3, 0x00, 0x6000, 48}};
    for (const Case& chip : cases) {
        SCOPED_TRACE(chip.version);
        const HaltedChip bench{chip.version};
        EXPECT_EQ(read_word(0x10000010), 4096U);
        EXPECT_EQ(read_word(0x10000014), chip.flash_pages);
        for (std::uint32_t block = 0; block <= 8; ++block) {
            write_word(ram_power(block) + 4, 0xFFFF);
            const std::uint32_t small = block < chip.blocks ? 3 : 0;
            EXPECT_EQ(read_word(ram_power(block)), block == 8 ? chip.large_sections : small) << block;
        }
        jlinksim_probe_t probe{};
        ASSERT_EQ(JLINKSIM_describe_probe(0, &probe), 0);
        EXPECT_EQ(probe.ram_bytes, chip.ram_bytes);
        EXPECT_EQ(read_word(ram + chip.ram_bytes - 4), bench.peek_word(ram + chip.ram_bytes - 4));
    }
}

TEST(SimulatedPower, losesTheContentOfASectionThatIsOff)
{
    HaltedChip bench{"BIRCH_M2_VA_REV1"};
    constexpr std::uint32_t section_5 = ram + 0x5000;
    constexpr std::uint32_t section_18 = ram + 0x10000 + 2 * 0x8000;
    for (const std::uint32_t address : {section_5 - 4, section_5, section_18, section_18 + 0x8000}) {
        write_word(address, 0xCAFE);
    }
    write_word(ram_power(2) + 8, 2);
    write_word(ram_power(8) + 8, 4);
    EXPECT_EQ(read_word(ram_power(2)), 1U);
    EXPECT_EQ(read_word(ram_power(8)), 0x3BU);
    // Off: not the old content, no effect of writes, and a record for each.
    EXPECT_NE(read_word(section_5), 0xCAFEU);
    write_word(section_18, 0xBEEF);
    EXPECT_THAT(bench.take_records(), begin_with("ram-off: read", "ram-off: write"));
    write_word(ram_power(2) + 4, 0xFFFF);
    write_word(ram_power(8), 0x3F);
    EXPECT_NE(read_word(section_5), 0xCAFEU);
    EXPECT_NE(read_word(section_18), 0xCAFEU);
    EXPECT_NE(read_word(section_18), 0xBEEFU);
    EXPECT_EQ(read_word(section_5 - 4), 0xCAFEU);
    EXPECT_EQ(read_word(section_18 + 0x8000), 0xCAFEU);
}

TEST(SimulatedPower, writesThePoweredPartOfABlockThatCrossesASection)
{
    HaltedChip bench;
    write_word(ram_power(0) + 8, 2);
    const std::array<std::uint32_t, 2> block{0x11111111, 0x22222222};
    EXPECT_EQ(JLINKARM_WriteMem(ram + 0xFFC, sizeof block, block.data()), 8);
    EXPECT_EQ(bench.peek_word(ram + 0xFFC), block[0]);
    EXPECT_NE(bench.peek_word(ram + 0x1000), block[1]);
    bench.take_records();
}

TEST(SimulatedPower, keepsRamAndItsPowerThroughResetsButNotThroughPowerOn)
{
    const HaltedChip bench;
    const std::uint32_t fresh = read_word(ram);
    for (const bool by_supply : {false, true}) {
        write_word(ram, 0xCAFE);
        write_word(ram_power(7) + 8, 1);
        ASSERT_GE(JLINKARM_Reset(), 0);
        EXPECT_EQ(read_word(ram), 0xCAFEU);
        EXPECT_EQ(read_word(ram_power(7)), 2U);
        if (by_supply) {
            ASSERT_EQ(JLINKSIM_set_supply(TempBench::serial_number, 1200), 0);
            ASSERT_EQ(JLINKSIM_set_supply(TempBench::serial_number, 3000), 0);
        } else {
            ASSERT_EQ(JLINKSIM_power_cycle(TempBench::serial_number), 0);
        }
        EXPECT_EQ(JLINKARM_IsConnected(), 0);
        ASSERT_GE(JLINKARM_Connect(), 0);
        EXPECT_EQ(read_word(ram), fresh);
        EXPECT_EQ(read_word(ram_power(7)), 3U);
        ASSERT_EQ(JLINKARM_Halt(), 0);
    }
}

TEST(SimulatedPower, hasPinConfigurationOfThePortsThatTheChipHas)
{
    HaltedChip bench{"BIRCH_M2_VA_REV1"};
    for (const std::uint32_t address : {0x50000700U, 0x5000077CU, 0x50000A00U, 0x50000A3CU}) {
        EXPECT_EQ(read_word(address), 2U);
        write_word(address, 0x302);
        EXPECT_EQ(read_word(address), 0x302U);
    }
    EXPECT_TRUE(bench.take_records().empty());
    write_word(0x50000A40, 0x302); // there is no pin 16 on the second port
    EXPECT_THAT(bench.take_records(), begin_with("register-reserved"));
}

} // namespace
} // namespace tessit_test
