#include "tests/sim/cpu/board.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

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

} // namespace
} // namespace jlinksim
