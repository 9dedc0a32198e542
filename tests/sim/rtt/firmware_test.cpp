// Bytes of firmware that runs, through its rings in RAM to the host and back.
#include "tests/sim/rtt/rtt_board.h"

#include <fstream>
#include <iterator>

namespace tessit_test {
namespace {

constexpr std::string_view banner = "rtt_echo is ready\n";
constexpr std::uint32_t fastest_khz = 50'000;

class RttFirmware : public RttBoard, public testing::WithParamInterface<const char*>
{
protected:
    /// RTT is started before the firmware is.
    void run(const std::string& name)
    {
        std::ifstream file{std::string{FIRMWARE_FOLDER "/"} + name, std::ios::binary};
        poke(0, std::string{std::istreambuf_iterator<char>{file}, {}});
        JLINKARM_SetSpeed(fastest_khz);
        ASSERT_GE(JLINKARM_Reset(), 0);
        ASSERT_EQ(start(), 0);
        JLINKARM_Go();
        ASSERT_EQ(find(), 2);
    }

    /// Reads until so many bytes have come, or nothing more does.
    static std::string read_all(std::uint32_t channel, std::size_t size)
    {
        std::string received;
        while (received.size() < size) {
            const std::string piece = read(channel, static_cast<std::uint32_t>(size - received.size()));
            if (piece.empty()) {
                break;
            }
            received += piece;
        }
        return received;
    }
};

std::string counted(std::size_t bytes)
{
    std::string text(bytes, '\0');
    for (std::uint32_t i = 0; i < bytes; ++i) {
        text[i] = static_cast<char>(i / 4 >> 8 * (i % 4));
    }
    return text;
}

bool is_tiny(std::string_view name)
{
    return name.find("tiny") != std::string_view::npos;
}

TEST_P(RttFirmware, streamsWithoutALoss)
{
    run(GetParam());
    const std::size_t size = is_tiny(GetParam()) ? 4096 : 262144;
    EXPECT_TRUE(read_all(1, size) == counted(size));
    EXPECT_EQ(read_all(0, banner.size()), banner);
}

TEST_P(RttFirmware, echoesEveryByteWhileTheOtherChannelFloods)
{
    run(GetParam());
    std::string sent(is_tiny(GetParam()) ? 2048 : 16384, '\0');
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<char>(i * 7 + i / 256);
    }
    std::string received;
    std::string counter;
    std::size_t accepted = 0;
    for (int turns = 0; turns < 100'000 && received.size() < sent.size() + banner.size(); ++turns) {
        const std::int32_t count = write(0, std::string_view{sent}.substr(accepted, 4096));
        ASSERT_GE(count, 0);
        accepted += static_cast<std::size_t>(count);
        received += read(0, 4096);
        counter += read(1, 65536);
    }
    std::string expected = sent;
    std::transform(expected.begin(), expected.end(), expected.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    EXPECT_TRUE(received == std::string{banner} + expected);
    EXPECT_TRUE(counter == counted(counter.size()));
}

INSTANTIATE_TEST_SUITE_P(RttEcho, RttFirmware, testing::Values("rtt_echo.bin", "rtt_echo_tiny.bin"),
                         [](const auto& info) { return is_tiny(info.param) ? "rings_of_16" : "usual_rings"; });

TEST_F(RttFirmware, thatTheHostRestartsSpeaksFromItsBegin)
{
    run("rtt_echo.bin");
    read_all(1, 100'000);
    ASSERT_GE(JLINKARM_Reset(), 0);
    while (!read(1, 65536).empty()) { // what the first run left with the library
    }
    JLINKARM_Go();
    ASSERT_EQ(find(), 2);
    EXPECT_TRUE(read_all(1, 100'000) == counted(100'000));
    EXPECT_EQ(read_all(0, 2 * banner.size()), std::string{banner} + std::string{banner});
}

} // namespace
} // namespace tessit_test
