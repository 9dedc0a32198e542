#include "tests/end_to_end/device.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace tessit_test {
namespace {

constexpr std::uint32_t qspi = 0x40029000;

/// Every field differs from every other and from zero, as far as it can.
constexpr qspi_init_config_t configuration{
    .read_mode = READ_MODE_CODE_3,
    .write_mode = WRITE_MODE_CODE_2,
    .address_mode = ADDRESS_MODE_24BIT,
    .frequency = FREQ_DIV4,
    .spi_mode = SPI_MODE_CODE_1,
    .sck_delay = 5,
    .custom_instruction_io2_level = LEVEL_HIGH,
    .custom_instruction_io3_level = LEVEL_HIGH,
    .CSN_pin = 17,
    .CSN_port = 0,
    .CLK_pin = 3,
    .CLK_port = 1,
    .DIO0_pin = 20,
    .DIO0_port = 0,
    .DIO1_pin = 5,
    .DIO1_port = 1,
    .DIO2_pin = 22,
    .DIO2_port = 0,
    .DIO3_pin = 23,
    .DIO3_port = 0,
    .WIP_index = 3,
    .PPSize = PP_SIZE_CODE_1,
};

/// A flash that understands just that, and no more.
constexpr const char* strict_flash = "external_flash = { size = 33554432, spi_mode = 1, highest_khz = 8000, "
                                     "deselect_ns = 312, wip_bit = 3, page = 512 }\n";

struct QspiDevice : Device
{
    explicit QspiDevice(const qspi_init_config_t& with = configuration, bool retain = false,
                        const char* version = "BIRCH_M2_VA_REV1")
        : Device{version, strict_flash}
    {
        EXPECT_OK(TESSIT_unpower_ram_section(1));
        EXPECT_OK(TESSIT_unpower_ram_section(0));
        EXPECT_OK(TESSIT_qspi_init(retain ? 1 : 0, &with));
    }
    ~QspiDevice() { EXPECT_OK(TESSIT_qspi_uninit()); }
};

std::vector<std::uint8_t> pattern(std::size_t length)
{
    std::vector<std::uint8_t> bytes(length);
    std::uint32_t value = 7;
    std::ranges::generate(bytes,
                          [&] { return static_cast<std::uint8_t>((value = value * 1664525 + 1013904223) >> 24); });
    return bytes;
}

std::vector<std::uint8_t> flash_bytes(std::uint32_t address, std::uint32_t length)
{
    std::vector<std::uint8_t> bytes(length);
    EXPECT_OK(TESSIT_qspi_read(address, bytes.data(), length));
    return bytes;
}

/// Writes do not wait until the last page is programmed.
void wait_for_flash()
{
    std::uint8_t status = 0xFF;
    for (int polls = 0; status != 0; ++polls) {
        ASSERT_LT(polls, 1000);
        EXPECT_OK(TESSIT_qspi_custom(0x05, 2, nullptr, &status));
    }
}

TEST(LibraryQspi, configuresEveryFieldInItsPlace)
{
    const QspiDevice device;
    EXPECT_EQ(word_at(qspi + 0x544), 3U | 2U << 3 | 1U << 12);
    EXPECT_EQ(word_at(qspi + 0x600), 5U | 0x00040400 | 1U << 25 | 3U << 28);
    EXPECT_EQ(word_at(qspi + 0x640), 0x200U);
    const std::pair<std::uint32_t, std::uint32_t> lines[]{{0x528, 17},         {0x524, 1 << 5 | 3}, {0x530, 20},
                                                          {0x534, 1 << 5 | 5}, {0x538, 22},         {0x53C, 23}};
    for (const auto& [select, pin] : lines) {
        EXPECT_EQ(word_at(qspi + select), pin);
        EXPECT_EQ(word_at(0x50000700 + (pin >> 5) * 0x300 + (pin & 31) * 4), 0x302U);
    }
}

TEST(LibraryQspi, movesBytesFromAndToAnyAddress)
{
    for (const auto mode : {ADDRESS_MODE_24BIT, ADDRESS_MODE_32BIT}) {
        qspi_init_config_t with = configuration;
        with.address_mode = mode;
        const QspiDevice device{with};
        if (mode == ADDRESS_MODE_32BIT) {
            EXPECT_OK(TESSIT_qspi_custom(0xB7, 1, nullptr, nullptr));
        }
        const std::vector<std::uint8_t> bytes = pattern(10003);
        const std::uint32_t base = mode == ADDRESS_MODE_24BIT ? 0x20003 : 0x1020003;
        EXPECT_OK(TESSIT_qspi_write(base, bytes.data(), 10003));
        EXPECT_EQ(flash_bytes(base, 10003), bytes);
        EXPECT_THAT(flash_bytes(base - 4, 4), testing::Each(0xFF));
        EXPECT_THAT(flash_bytes(base + 10003, 5), testing::Each(0xFF));
        wait_for_flash();
        constexpr std::uint32_t words = 0x40000;
        for (std::uint32_t first = 0; first < 4; ++first) { // parts of one word
            for (std::uint32_t length = 1; first + length <= 4; ++length) {
                const std::uint32_t word = words + 16 * first + 4 * length;
                EXPECT_OK(TESSIT_qspi_write(word + first, bytes.data(), length));
                wait_for_flash();
                std::vector<std::uint8_t> expected(4, 0xFF);
                std::copy_n(bytes.begin(), length, expected.begin() + first);
                EXPECT_EQ(flash_bytes(word, 4), expected);
                EXPECT_TRUE(std::ranges::equal(flash_bytes(word + first, length), std::span{bytes}.first(length)));
            }
        }
        EXPECT_OK(TESSIT_qspi_erase(base & ~0xFFFU, ERASE4KB));
        EXPECT_THAT(flash_bytes(base, 0xFFD), testing::Each(0xFF));
        EXPECT_EQ(flash_bytes(base + 0xFFD, 1).front(), bytes[0xFFD]);
        EXPECT_OK(TESSIT_qspi_erase(base & ~0x7FFFU, ERASE32KB));
        EXPECT_THAT(flash_bytes(base, 10003), testing::Each(0xFF));
        for (const auto length : {ERASE64KB, ERASEALL}) {
            EXPECT_OK(TESSIT_qspi_write(base & ~0xFFFFU, bytes.data(), 4));
            wait_for_flash();
            EXPECT_OK(TESSIT_qspi_erase(base & ~0xFFFFU, length));
            EXPECT_THAT(flash_bytes(base & ~0xFFFFU, 4), testing::Each(0xFF));
        }
    }
}

TEST(LibraryQspi, sendsInstructionsOfAnyLength)
{
    const QspiDevice device;
    const std::vector<std::uint8_t> bytes = pattern(30);
    EXPECT_OK(TESSIT_qspi_custom(0x06, 1, nullptr, nullptr));
    std::vector<std::uint8_t> program{0x00, 0x10, 0x00};
    program.insert(program.end(), bytes.begin(), bytes.end());
    EXPECT_OK(TESSIT_qspi_custom(0x02, 34, program.data(), nullptr));
    wait_for_flash();
    EXPECT_EQ(flash_bytes(0x1000, 30), bytes);
    std::vector<std::uint8_t> received(33);
    const std::vector<std::uint8_t> address(33, 0);
    std::vector<std::uint8_t> sent = address;
    sent[1] = 0x10;
    EXPECT_OK(TESSIT_qspi_custom(0x03, 34, sent.data(), received.data()));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), received.begin() + 3));
    EXPECT_OK(TESSIT_qspi_custom(0x03, 17, sent.data(), received.data())); // two whole steps
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + 13, received.begin() + 3));
    std::array<std::uint8_t, 8> identification{};
    EXPECT_OK(TESSIT_qspi_custom(0x9F, 9, nullptr, identification.data()));
    EXPECT_THAT(identification, testing::ElementsAre(0x5A, 0x51, 25, 0x5A, 0x51, 25, 0x5A, 0x51));
}

TEST(LibraryQspi, putsBackTheRamThatItUses)
{
    const Device device{"BIRCH_M2_VA_REV1", strict_flash};
    constexpr std::uint32_t words[]{ram, ram + 0xFFC, ram + 0x1000, ram + 0x1FFC};
    for (const std::uint32_t word : words) {
        device.poke_word(word, word);
    }
    EXPECT_OK(TESSIT_qspi_init(1, &configuration));
    const std::vector<std::uint8_t> bytes = pattern(4096);
    EXPECT_OK(TESSIT_qspi_write(0, bytes.data(), 4096));
    EXPECT_EQ(flash_bytes(0, 4096), bytes);
    EXPECT_NE(word_at(ram + 0x1FFC), ram + 0x1FFC);
    EXPECT_OK(TESSIT_qspi_uninit());
    EXPECT_TRUE(is_halted());
    for (const std::uint32_t word : words) {
        EXPECT_EQ(word_at(word), word);
    }
}

} // namespace
} // namespace tessit_test
