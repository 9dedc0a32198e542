#include "board.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

namespace jlinksim {
namespace {

constexpr std::uint32_t counter_address = Board::ram_base;
constexpr std::uint32_t magic_address = Board::ram_base + 4;
constexpr std::uint32_t wave_address = Board::ram_base + 8;
constexpr std::uint32_t checksum_address = Board::ram_base + 12;

class Firmware : public testing::Test, public Board
{
};

std::uint32_t crc32(std::uint32_t crc, std::uint32_t word)
{
    crc = ~crc ^ word;
    for (int bit = 0; bit < 32; ++bit) {
        crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

TEST_F(Firmware, CountsAndComputesWhatTheHostComputes)
{
    load("counter.bin");
    cpu.run(500000);
    // The count is what a turn of the loop writes last.
    for (const std::uint32_t before = word(counter_address); word(counter_address) == before;) {
        cpu.run(1);
    }
    EXPECT_EQ(word(magic_address), 0x54534554);
    const std::uint32_t count = word(counter_address);
    EXPECT_GT(count, 5000);
    std::uint32_t checksum = 0;
    long wave = 0;
    for (std::uint32_t i = 1; i <= count; ++i) {
        wave = std::lround(32767 * std::sin(i * 2 * M_PI / 8192));
        checksum = crc32(checksum, static_cast<std::uint32_t>(wave));
    }
    EXPECT_EQ(word(wave_address), static_cast<std::uint32_t>(wave));
    EXPECT_EQ(word(checksum_address), checksum);
}

TEST_F(Firmware, GoesOnBehindABreakpointWhenTheHostStepsOverIt)
{
    load("breakpoint.bin");
    for (std::uint32_t turn = 1; turn <= 3; ++turn) {
        EXPECT_EQ(cpu.run(100000).why, StopReason::breakpoint);
        EXPECT_EQ(word(counter_address), turn);
        set_pc(pc() + 2);
    }
}

TEST_F(Firmware, SleepsUntilItIsRunAgain)
{
    load("sleep.bin");
    for (std::uint32_t turn = 0; turn < 3; ++turn) {
        EXPECT_EQ(cpu.run(100000).why, StopReason::sleeping);
        EXPECT_EQ(word(counter_address), turn);
    }
}

TEST_F(Firmware, JumpsIntoTheVoidAndRecoversByReset)
{
    load("fault_void.bin");
    for (int again = 0; again < 2; ++again) {
        const RunResult result = cpu.run(100000);
        EXPECT_EQ(result.why, StopReason::fault);
        EXPECT_EQ(pc(), nowhere);
        EXPECT_EQ(word(counter_address), 100);
        cpu.reset(word(0), word(4));
    }
}

/// The probe's side of RTT, as small as can be: a look at the control block that the firmware made.
class RttHost
{
public:
    explicit RttHost(Board& board) : board_{board} {}

    bool find()
    {
        const std::string_view identifier{"SEGGER RTT\0\0\0\0\0\0", 16};
        const std::string_view ram{reinterpret_cast<const char*>(board_.ram.data()), board_.ram.size()};
        block_ = Board::ram_base + static_cast<std::uint32_t>(ram.find(identifier));
        return ram.find(identifier) != std::string_view::npos && ram.rfind(identifier) == ram.find(identifier);
    }

    std::string name(unsigned ring) const
    {
        return reinterpret_cast<const char*>(&board_.flash.at(board_.word(descriptor(ring))));
    }
    std::uint32_t size(unsigned ring) const { return board_.word(descriptor(ring) + 8); }
    std::uint32_t counts() const { return board_.word(block_ + 16) << 16U | board_.word(block_ + 20); }

    std::vector<std::uint8_t> read(unsigned ring)
    {
        std::vector<std::uint8_t> data;
        std::uint32_t at = board_.word(descriptor(ring) + 16);
        for (const std::uint32_t end = board_.word(descriptor(ring) + 12); at != end; at = (at + 1) % size(ring)) {
            data.push_back(board_.ram.at(buffer(ring) + at));
        }
        board_.put_word(descriptor(ring) + 16, at);
        return data;
    }

    /// The number of bytes that there was room for.
    std::size_t write(unsigned ring, std::string_view text)
    {
        std::size_t written = 0;
        std::uint32_t at = board_.word(descriptor(ring) + 12);
        const std::uint32_t read_at = board_.word(descriptor(ring) + 16);
        while (written < text.size() && (at + 1) % size(ring) != read_at) {
            board_.ram.at(buffer(ring) + at) = static_cast<std::uint8_t>(text[written++]);
            at = (at + 1) % size(ring);
        }
        board_.put_word(descriptor(ring) + 12, at);
        return written;
    }

private:
    std::uint32_t descriptor(unsigned ring) const { return block_ + 24 + 24 * ring; }
    std::uint32_t buffer(unsigned ring) const { return board_.word(descriptor(ring) + 4) - Board::ram_base; }

    Board& board_;
    std::uint32_t block_ = 0;
};

/// Rings as they follow each other in the control block.
enum : unsigned
{
    up_log,
    up_counter,
    down_echo
};

class RttEcho : public Firmware, public testing::WithParamInterface<const char*>
{
};

TEST_P(RttEcho, LosesNothingHoweverTheHostReadsAndWrites)
{
    load(std::string{GetParam()} + ".bin");
    RttHost host{*this};
    EXPECT_FALSE(host.find());
    cpu.run(20000);
    ASSERT_TRUE(host.find());

    std::string sent;
    std::string log;
    std::vector<std::uint8_t> stream;
    const auto read = [&] {
        const std::vector<std::uint8_t> text = host.read(up_log);
        log.append(text.begin(), text.end());
        const std::vector<std::uint8_t> words = host.read(up_counter);
        stream.insert(stream.end(), words.begin(), words.end());
    };
    std::string expected = "rtt_echo is ready\n";
    for (unsigned turn = 0; turn < 400; ++turn) {
        const std::string number = std::to_string(turn);
        const std::size_t written = host.write(down_echo, "Turn " + number + ": z{`@[ \xE4\n");
        expected += ("TURN " + number + ": Z{`@[ \xE4\n").substr(0, written);
        cpu.run(500 + 37 * (turn % 11)); // so that it is met in all places
        read();
    }
    for (int turn = 0; turn < 10; ++turn) {
        cpu.run(20000);
        read();
    }
    EXPECT_EQ(log, expected);
    EXPECT_GT(log.size(), 1000);

    EXPECT_GT(stream.size(), 4000);
    EXPECT_EQ(stream.size() % 4, 0);
    for (std::size_t i = 0; i < stream.size(); ++i) {
        ASSERT_EQ(stream[i], (i / 4) >> (8 * (i % 4)) & 0xFFU) << "byte " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Rings, RttEcho, testing::Values("rtt_echo", "rtt_echo_tiny"),
                         [](const auto& program) { return std::string{program.param}; });

TEST_F(Firmware, DescribesItsRttChannels)
{
    load("rtt_echo.bin");
    cpu.run(20000);
    RttHost host{*this};
    ASSERT_TRUE(host.find());
    EXPECT_EQ(host.counts(), 0x20001) << "two up, one down";
    EXPECT_EQ(host.name(up_log), "log");
    EXPECT_EQ(host.name(up_counter), "counter");
    EXPECT_EQ(host.name(down_echo), "echo");
    EXPECT_EQ(host.size(up_log), 1024);
    EXPECT_EQ(host.size(up_counter), 4096);
    EXPECT_EQ(host.size(down_echo), 256);
}

} // namespace
} // namespace jlinksim
