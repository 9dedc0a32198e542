// The library's QSPI operations on the simulated peripheral and flash, with the library's waits cut short.
#include "jlinkarm_birch_tessit.h"
#include "src/frame/session.h"
#include "tests/support/temp_bench.h"

#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessit_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Bytes = std::vector<std::uint8_t>;
constexpr const char* small_flash = "external_flash = { size = 131072 }\n";

std::string last_line;

void TESSIT_CALL keep_line(const char* line)
{
    if (std::string_view{line}.find(":\t") != std::string_view::npos) {
        last_line = line;
    }
}

qspi_init_config_t board()
{
    qspi_init_config_t config{};
    std::uint32_t pin = 17;
    for (std::uint32_t qspi_init_config_t::*const line :
         {&qspi_init_config_t::CSN_pin, &qspi_init_config_t::CLK_pin, &qspi_init_config_t::DIO0_pin,
          &qspi_init_config_t::DIO1_pin, &qspi_init_config_t::DIO2_pin}) {
        config.*line = pin++;
    }
    config.DIO3_port = 1;
    config.DIO3_pin = 15;
    return config;
}

/// A session with the chip of a bench.
class LibrarySession
{
public:
    LibrarySession()
    {
        tessit::session = {};
        EXPECT_EQ(TESSIT_open_dll(SIM_LIBRARY, keep_line, BIRCH_FAMILY), RESULT_OK);
        EXPECT_EQ(TESSIT_connect_to_emu_with_snr(TempBench::serial_number, 4000), RESULT_OK);
    }
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;
    ~LibrarySession() { TESSIT_close_dll(); }
};

class LibraryQspi : public testing::Test
{
protected:
    /// For what never ends.
    static void cut_waits_short()
    {
        tessit::session.qspi_bounds = {std::chrono::milliseconds{50}, std::chrono::milliseconds{50}};
    }
    void use_bench(const std::string& version, const std::string& lines)
    {
        bench = std::make_unique<TempBench>("[[probe]]\nserial = " + std::to_string(TempBench::serial_number) +
                                            "\n[probe.chip]\nversion = \"" + version + "\"\n" + lines);
        session.emplace();
    }
    void start(const std::string& version, const std::string& lines, qspi_init_config_t config = board())
    {
        use_bench(version, lines);
        ASSERT_EQ(TESSIT_qspi_init(0, &config), RESULT_OK) << last_line;
    }
    void start(const std::string& lines = small_flash) { start("BIRCH_M2_VA_REV1", lines); }

    static Bytes read(std::uint32_t address, std::uint32_t length)
    {
        Bytes bytes(length + 2, 0xEE); // and a guard on either side
        EXPECT_EQ(TESSIT_qspi_read(address, bytes.data() + 1, length), RESULT_OK);
        EXPECT_EQ(bytes.front(), 0xEE);
        EXPECT_EQ(bytes.back(), 0xEE);
        return {bytes.begin() + 1, bytes.end() - 1};
    }
    static void write(std::uint32_t address, const Bytes& bytes)
    {
        EXPECT_EQ(TESSIT_qspi_write(address, bytes.data(), static_cast<std::uint32_t>(bytes.size())), RESULT_OK);
        wait_until_written();
    }
    static std::uint8_t status()
    {
        std::uint8_t byte = 0;
        EXPECT_EQ(TESSIT_qspi_custom(0x05, 2, nullptr, &byte), RESULT_OK);
        return byte;
    }
    static void wait_until_written()
    {
        for (int polls = 0; (status() & 1) != 0; ++polls) {
            ASSERT_LT(polls, 1000);
        }
    }

    std::unique_ptr<TempBench> bench;
    std::optional<LibrarySession> session;
};

Bytes pattern(std::size_t length)
{
    Bytes bytes(length);
    std::ranges::generate(bytes, [value = 7U]() mutable { return static_cast<std::uint8_t>((value *= 48271) >> 16); });
    return bytes;
}

TEST_F(LibraryQspi, UnalignedWritesLeaveTheirNeighbours)
{
    start();
    std::uint32_t address = 0x0FFD;
    Bytes expected(0x8000, 0xFF);
    for (const std::uint32_t length : {1U, 2U, 3U, 5U, 4097U}) {
        const Bytes bytes = pattern(length);
        // Data that is there already up to both edges, as words and as single bytes.
        write(address - 5, Bytes(5, 0x5A));
        write(address + length, Bytes(6, 0xA5));
        write(address, bytes);
        std::fill_n(expected.begin() + address - 5, 5, std::uint8_t{0x5A});
        std::fill_n(expected.begin() + address + length, 6, std::uint8_t{0xA5});
        std::ranges::copy(bytes, expected.begin() + address);
        EXPECT_EQ(read(address, length), bytes);
        address += length + 300;
    }
    EXPECT_EQ(read(0, 0x8000), expected);
}

TEST_F(LibraryQspi, StepsOfOneWriteNeedNoWaitBetweenThem)
{
    start();
    const Bytes bytes = pattern(10001);
    EXPECT_EQ(TESSIT_qspi_write(0x1001, bytes.data(), 10001), RESULT_OK);
    wait_until_written();
    EXPECT_EQ(read(0x1001, 10001), bytes);
}

TEST_F(LibraryQspi, EachEraseErasesItsBlock)
{
    struct Case
    {
        qspi_erase_len_t length;
        std::uint32_t bytes;
    };
    for (const Case& erase : {Case{ERASE4KB, 0x1000}, Case{ERASE32KB, 0x8000}, Case{ERASE64KB, 0x10000}}) {
        SCOPED_TRACE(erase.bytes);
        start();
        for (std::uint32_t at = 0; at < 0x20000; at += 0x1000) {
            write(at, {0, 0, 0, 0});
        }
        EXPECT_EQ(TESSIT_qspi_erase(0x10000, erase.length), RESULT_OK);
        for (std::uint32_t at = 0; at < 0x20000; at += 0x1000) {
            const bool erased = at >= 0x10000 && at < 0x10000 + erase.bytes;
            EXPECT_THAT(read(at, 4), Each(erased ? 0xFF : 0)) << at;
        }
        EXPECT_EQ(TESSIT_qspi_erase(0, ERASEALL), RESULT_OK);
        EXPECT_THAT(read(0, 0x20000), Each(0xFF));
        session.reset();
        bench.reset();
    }
}

TEST_F(LibraryQspi, LongInstructionsReadAsMuchAsTheyAsk)
{
    start();
    const Bytes bytes = pattern(100);
    write(0x345, bytes);
    Bytes sent(103);
    Bytes received(103);
    sent[1] = 0x03;
    sent[2] = 0x45;
    EXPECT_EQ(TESSIT_qspi_custom(0x03, 104, sent.data(), received.data()), RESULT_OK);
    EXPECT_TRUE(std::equal(received.begin() + 3, received.end(), bytes.begin()));
    EXPECT_EQ(status(), 0) << "the frame is closed";
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
}

TEST_F(LibraryQspi, TheFirstEngineeringSampleRefusesLongInstructions)
{
    start("BIRCH_M2_VA_ENGA", small_flash);
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 10, nullptr, nullptr), ERR_UNSUPPORTED_ON_DEVICE);
    Bytes answer(3);
    EXPECT_EQ(TESSIT_qspi_custom(0x9F, 4, nullptr, answer.data()), RESULT_OK);
    EXPECT_THAT(answer, ElementsAre(0x5A, 0x51, 17));
}

TEST_F(LibraryQspi, AFlashThatNeverGetsReadyEndsEveryWaitAtItsBound)
{
    start("external_flash = { size = 131072, faults = [\"never_ready\"] }\n");
    cut_waits_short();
    const Bytes bytes(8, 0);
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASE4KB), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_THAT(last_line, HasSubstr("QSPI flash never finishes its erase."));
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASE32KB), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(TESSIT_qspi_write(0, bytes.data(), 8), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_THAT(last_line, HasSubstr("QSPI ready event never comes."));
    EXPECT_THAT(bench->take_records(), Each(StartsWith("serial-flash-busy")));
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
}

TEST_F(LibraryQspi, AMissingFlashReadsAsOnesAndEndsEveryWaitAtItsBound)
{
    start("");
    cut_waits_short();
    EXPECT_THAT(read(0x123, 100), Each(0xFF));
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASEALL), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
}

TEST_F(LibraryQspi, AProtectedFlashKeepsItsContentAndIsHeardOfByReadingIt)
{
    start("external_flash = { size = 131072, protected = true }\n");
    write(0x100, {1, 2, 3, 4});
    EXPECT_EQ(TESSIT_qspi_erase(0, ERASE64KB), RESULT_OK);
    EXPECT_THAT(read(0x100, 4), Each(0xFF));
    EXPECT_THAT(bench->take_records(), Each(StartsWith("serial-flash-protected")));
}

TEST_F(LibraryQspi, APeripheralThatNeverGetsReadyCanBeReleased)
{
    use_bench("BIRCH_M2_VA_REV1", "faults = [\"qspi_never_ready\"]\n");
    cut_waits_short();
    const qspi_init_config_t config = board();
    EXPECT_EQ(TESSIT_qspi_init(0, &config), ERR_FLASH_CONTROLLER_TIMEOUT);
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
}

TEST_F(LibraryQspi, RetainedRamIsPutBack)
{
    use_bench("BIRCH_M2_VA_REV1", small_flash);
    const Bytes before = bench->peek(0x20000000, 0x2004);
    const qspi_init_config_t config = board();
    ASSERT_EQ(TESSIT_qspi_init(1, &config), RESULT_OK);
    write(0, pattern(4096));
    read(0, 4096);
    EXPECT_NE(bench->peek(0x20000000, 0x2004), before);
    EXPECT_EQ(TESSIT_qspi_uninit(), RESULT_OK);
    EXPECT_EQ(bench->peek(0x20000000, 0x2004), before);
}

} // namespace
} // namespace tessit_test
