#include "tests/sim/rtt/rtt_board.h"

namespace tessit_test {
namespace {

using RttControlBlock = RttBoard;

TEST_F(RttControlBlock, isFoundWhereverItBeginsInTheRanges)
{
    // The begin and the end of RAM, and across the pieces in which it is searched.
    for (const std::uint32_t address : {ram, ram + 0x3F4, ram + 0x3FC, ram + 0x1400, ram + ram_bytes - 96}) {
        SCOPED_TRACE(address);
        make_usual_block(address);
        ASSERT_EQ(start(), 0);
        EXPECT_EQ(find(), 2);
        EXPECT_EQ(count(down), 1);
        EXPECT_EQ(read(1), "payload");
        EXPECT_EQ(stop(), 0);
        bench.poke_word(address, 0);
    }
}

TEST_F(RttControlBlock, isLookedForOnlyInTheRangesOrAtTheAddress)
{
    make_usual_block(ram + 0x8000);
    // Without ranges it is the RAM of the named device, which here has less than the chip.
    ASSERT_EQ(command("Device = BIRCH_M3_VA"), "");
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(find(), not_found);
    char byte = 0;
    EXPECT_EQ(JLINK_RTTERMINAL_Read(0, &byte, 1), not_found);
    EXPECT_EQ(JLINK_RTTERMINAL_Write(0, &byte, 1), not_found);
    ASSERT_EQ(command("SetRTTSearchRanges 0x20000000 0x8000"), "");
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(find(), not_found);
    ASSERT_EQ(start(ram + 0x8004), 0);
    EXPECT_EQ(find(), not_found);
    ASSERT_EQ(start(ram + 0x8000), 0);
    EXPECT_EQ(find(), 2);
    // A range that is not RAM is searched as far as it is, and recorded.
    ASSERT_EQ(command("SetRTTSearchRanges 0x0 0x1000, 0x2000FF00 0x80000000"), "");
    ASSERT_EQ(JLINK_RTTERMINAL_Control(0, nullptr), 0);
    EXPECT_EQ(find(), not_found);
    EXPECT_THAT(bench.take_records(),
                begin_with("rtt-search-range: 0x00000000 0x1000", "rtt-search-range: 0x2000FF00 0x80000000"));
}

TEST_F(RttControlBlock, isFollowedWhenFirmwareMakesItElsewhere)
{
    make_usual_block();
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);
    bench.poke_word(block, 0);
    // What had been taken from the target can still be read; then the channels are gone.
    EXPECT_EQ(read(1), "payload");
    EXPECT_EQ(find(), not_found);
    make_block(ram + 0x9000, 1, 0, {{names, log_buffer, 64, 3, 0, 2}});
    poke(log_buffer, "new");
    EXPECT_EQ(find(), 1);
    EXPECT_EQ(count(down), 0);
    EXPECT_EQ(read(0), "new");
}

TEST_F(RttControlBlock, ofTheOldRunIsErasedWhenTheHostResetsTheTarget)
{
    make_usual_block();
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);
    ASSERT_EQ(read(1), "payload");
    ASSERT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(bench.peek_word(block), 0U);
    EXPECT_EQ(find(), not_found);
    // Without RTT a reset touches nothing.
    make_usual_block();
    ASSERT_EQ(stop(), 0);
    ASSERT_GE(JLINKARM_Reset(), 0);
    EXPECT_EQ(peek(block, 16), identifier());
}

TEST_F(RttControlBlock, isOutOfReachWithoutAConnectionAndSearchedAnewInEverySession)
{
    make_usual_block();
    EXPECT_EQ(count(up), -1) << "RTT is not started";
    EXPECT_EQ(stop(), 0);
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);
    pulse_reset_line();
    char byte = 0;
    EXPECT_EQ(start(), -1);
    EXPECT_EQ(stop(), -1);
    EXPECT_EQ(count(up), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Read(1, &byte, 1), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Write(0, &byte, 1), -1);
    EXPECT_EQ(bench.take_records().size(), 5U);
    // It goes on where it was.
    ASSERT_GE(JLINKARM_Connect(), 0);
    EXPECT_EQ(read(1), "payload");
    close_probe();
    EXPECT_THAT(bench.take_records(), begin_with("rtt-left-running"));
    connect_halted();
    EXPECT_EQ(count(up), -1) << "RTT is not started";
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(find(), 2);
    ASSERT_EQ(JLINKSIM_set_plugged(TempBench::serial_number, 0), 0);
    EXPECT_EQ(count(up), -1);
    EXPECT_NE(JLINKARM_HasError(), 0);
}

} // namespace
} // namespace tessit_test
