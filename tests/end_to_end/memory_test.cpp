#include "tests/end_to_end/device.h"

#include <array>
#include <functional>
#include <span>

namespace tessit_test {
namespace {

using testing::ElementsAre;

TEST(Library, haltsTheCpuForWhatNeedsItAndLetsItGoWhereItSaysSo)
{
    struct Case
    {
        const char* operation;
        std::function<result_code_t()> run;
        bool halts = true;
    };
    std::uint32_t value = 0;
    std::uint32_t count = 0;
    std::array<std::uint8_t, 6> bytes{1, 2, 3, 4, 5, 6};
    std::array<ram_power_status_t, 22> statuses{};
    chip_version_t version = UNKNOWN;
    const Device device;
    for (const Case& operation : {
             Case{"read_u32", [&] { return TESSIT_read_u32(0, &value); }},
             Case{"write_u32", [&] { return TESSIT_write_u32(ram, 7, 0); }},
             Case{"read", [&] { return TESSIT_read(3, bytes.data(), 6); }},
             Case{"write", [&] { return TESSIT_write(0x2000, bytes.data(), 6, 1); }},
             Case{"ficrwrite_u32", [&] { return TESSIT_ficrwrite_u32(0x10000200, 5); }},
             Case{"ficrwrite", [&] { return TESSIT_ficrwrite(0x10000208, bytes.data(), 4); }},
             Case{"erase_page", [&] { return TESSIT_erase_page(0x7000); }},
             Case{"erase_uicr", [&] { return TESSIT_erase_uicr(); }},
             Case{"read_device_version", [&] { return TESSIT_read_device_version(&version); }},
             Case{"read_cpu_register", [&] { return TESSIT_read_cpu_register(R15, &value); }},
             Case{"write_cpu_register", [&] { return TESSIT_write_cpu_register(R0, 1); }},
             Case{"is_ram_powered", [&] { return TESSIT_is_ram_powered(statuses.data(), 22, &count, &value); }},
             Case{"power_ram_all", [&] { return TESSIT_power_ram_all(); }},
             Case{"unpower_ram_section", [&] { return TESSIT_unpower_ram_section(9); }},
             Case{"read_ram_sections_count", [&] { return TESSIT_read_ram_sections_count(&value); }, false},
             Case{"sys_reset", [&] { return TESSIT_sys_reset(); }},
             Case{"debug_reset", [&] { return TESSIT_debug_reset(); }, false},
             Case{"run", [&] { return TESSIT_run(0x200, ram + 0x800); }, false},
             Case{"disable_bprot", [&] { return TESSIT_disable_bprot(); }},
             Case{"erase_all", [&] { return TESSIT_erase_all(); }},
             Case{"masserase", [&] { return TESSIT_masserase(); }},
         }) {
        SCOPED_TRACE(operation.operation);
        device.put_firmware();
        EXPECT_OK(TESSIT_run(0x200, ram + 0x1000));
        EXPECT_FALSE(is_halted());
        EXPECT_OK(operation.run());
        EXPECT_EQ(is_halted(), operation.halts);
    }
    EXPECT_OK(TESSIT_halt());
}

TEST(Library, writesWhatItIsGivenAndNothingElse)
{
    const Device device;
    const std::array<std::uint8_t, 7> bytes{1, 2, 3, 4, 5, 6, 7};
    EXPECT_OK(TESSIT_write(0x2000, bytes.data(), 7, 1));
    EXPECT_OK(TESSIT_write_u32(0x10001080, 0x12345678, 1));
    EXPECT_OK(TESSIT_write_u32(ram + 12, 0x55667788, 0));
    EXPECT_OK(TESSIT_write(ram + 8, bytes.data(), 6, 0));
    EXPECT_OK(TESSIT_ficrwrite(0x10000200, bytes.data(), 4));
    EXPECT_OK(TESSIT_ficrwrite_u32(0x10000204, 0xCAFE));
    EXPECT_THAT(device.peek(0x1FFC, 16),
                ElementsAre(0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4, 5, 6, 7, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_EQ(word_at(0x10001080), 0x12345678U);
    EXPECT_THAT(device.peek(ram + 8, 8), ElementsAre(1, 2, 3, 4, 5, 6, 0x66, 0x55));
    for (std::uint32_t length = 1; length <= 3; ++length) { // a part of one word
        device.poke_word(ram + 16, 0xDDCCBBAA);
        EXPECT_OK(TESSIT_write(ram + 16, bytes.data(), length, 0));
        const std::uint32_t kept = blank << 8 * length;
        EXPECT_EQ(device.peek_word(ram + 16), (0xDDCCBBAA & kept) | (0x04030201 & ~kept));
    }
    EXPECT_EQ(word_at(0x10000200), 0x04030201U);
    EXPECT_EQ(word_at(0x10000204), 0xCAFEU);
    std::array<std::uint8_t, 3> read{};
    EXPECT_OK(TESSIT_read(0x2003, read.data(), 3));
    EXPECT_THAT(read, ElementsAre(4, 5, 6));
    // What the probe's library has read is not asked for again, and still never stale.
    device.poke_word(ram, 1);
    EXPECT_EQ(word_at(ram), 1U);
    device.poke_word(ram, 2);
    EXPECT_EQ(word_at(ram), 2U);
    EXPECT_OK(TESSIT_read(ram, read.data(), 3));
    device.poke_word(ram, 9);
    EXPECT_OK(TESSIT_read(ram, read.data(), 3));
    EXPECT_EQ(read.front(), 9);
}

TEST(Library, erasesWhatItIsTold)
{
    struct Case
    {
        std::function<result_code_t()> erase;
        bool page, code, user; ///< what is blank then
    };
    for (const Case& erase : {
             Case{[] { return TESSIT_erase_page(0x3004); }, true, false, false},
             Case{[] { return TESSIT_erase_uicr(); }, false, false, true},
             Case{[] { return TESSIT_erase_all(); }, true, true, true},
             Case{[] { return TESSIT_masserase(); }, true, true, true},
         }) {
        const Device device{"BIRCH_M1_VA_REV2", "flash_fill = 0\n"};
        EXPECT_OK(TESSIT_write_u32(0x10001080, 5, 1));
        EXPECT_OK(erase.erase());
        EXPECT_EQ(word_at(0x3FFC) == blank, erase.page);
        EXPECT_EQ(word_at(0x4000) == blank, erase.code);
        EXPECT_EQ(word_at(0x10001080) == blank, erase.user);
        EXPECT_EQ(word_at(0x10000130), 6U) << "the FICR stays";
    }
}

TEST(Library, liftsTheBlockProtectionOfEveryKindOfChip)
{
    for (const char* const version :
         {"BIRCH_M1_VA_REV2", "BIRCH_M1_VB_REV1", "BIRCH_M2_VA_ENGA", "BIRCH_M2_VA_ENGB", "BIRCH_M3_VA_REV1"}) {
        SCOPED_TRACE(version);
        const Device device{version, "flash_fill = 0\nprotected_blocks = [3]\n"};
        EXPECT_OK(TESSIT_disable_bprot());
        EXPECT_OK(TESSIT_erase_all());
        EXPECT_EQ(word_at(0x3000), blank);
    }
}

TEST(Library, switchesRamSectionsAndTellsOfThem)
{
    struct Case
    {
        const char* version;
        std::uint32_t sections;
        std::uint32_t section, power_register, left; ///< switched off, and what its block holds then
    };
    for (const Case& chip : {
             Case{"BIRCH_M1_VA_REV2", 16, 15, 0x40000970, 1},
             Case{"BIRCH_M1_VB_REV2", 8, 0, 0x40000900, 2},
             Case{"BIRCH_M2_VA_REV1", 22, 19, 0x40000980, 0x37},
             Case{"BIRCH_M3_VA_REV1", 6, 5, 0x40000920, 1},
         }) {
        SCOPED_TRACE(chip.version);
        const Device device{chip.version};
        std::uint32_t count = 0;
        std::array<std::uint32_t, 22> sizes{};
        std::array<ram_power_status_t, 22> statuses{};
        EXPECT_OK(TESSIT_read_ram_sections_count(&count));
        EXPECT_EQ(count, chip.sections);
        EXPECT_OK(TESSIT_read_ram_sections_size(sizes.data(), 22));
        EXPECT_EQ(sizes.at(chip.section), chip.section < 16 ? 4096U : 32768U);
        EXPECT_OK(TESSIT_unpower_ram_section(chip.section));
        EXPECT_EQ(word_at(chip.power_register), chip.left);
        EXPECT_OK(TESSIT_read_ram_sections_power_status(statuses.data(), 22));
        for (std::uint32_t section = 0; section < count; ++section) {
            EXPECT_EQ(statuses.at(section), section == chip.section ? RAM_SECTION_OFF : RAM_SECTION_ON) << section;
        }
        for (std::uint32_t section = 0; section < count; ++section) {
            EXPECT_OK(TESSIT_unpower_ram_section(section));
        }
        EXPECT_OK(TESSIT_power_ram_all());
        EXPECT_OK(TESSIT_read_ram_sections_power_status(statuses.data(), 22));
        EXPECT_THAT(std::span{statuses}.first(count), testing::Each(RAM_SECTION_ON));
    }
}

} // namespace
} // namespace tessit_test
