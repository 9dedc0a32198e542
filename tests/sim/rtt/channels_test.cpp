#include "tests/sim/rtt/rtt_board.h"

namespace tessit_test {
namespace {

class RttChannels : public RttBoard
{
protected:
    void attach()
    {
        make_usual_block();
        ASSERT_EQ(start(), 0);
        ASSERT_EQ(find(), 2);
    }

    /// Firmware takes all that is in the down ring.
    std::string take_echo() const
    {
        Ring ring = get_ring(block, 2);
        std::string taken;
        for (; ring.read != ring.write; ring.read = (ring.read + 1) % ring.size) {
            taken += peek(ring.buffer + ring.read, 1);
        }
        bench.poke_word(block + 24 + 2 * 24 + 16, ring.read);
        return taken;
    }
};

TEST_F(RttChannels, areDescribedAsTheFirmwareNamesThem)
{
    std::vector<Ring> rings = usual_rings();
    const std::string longest(40, 'n');
    poke(ram + 0x3000, longest);
    poke(ram + ram_bytes - 3, "end");
    rings.push_back({ram + 0x3000, echo_buffer, 16, 0, 0, 0}); // not ended within its 32 characters
    rings.push_back({0, 0, 0, 0, 0, 0});                       // not used
    make_block(block, 2, 3, rings);
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);

    struct Case
    {
        std::uint32_t channel;
        std::uint32_t direction;
        std::string name;
        std::uint32_t size;
        std::uint32_t flags;
    };
    for (const Case& expected : {Case{0, up, "log", 64, 2}, Case{1, up, "data", 64, 1}, Case{0, down, "echo", 16, 0},
                                 Case{1, down, longest.substr(0, 32), 16, 0}, Case{2, down, "", 0, 0}}) {
        SCOPED_TRACE(expected.name);
        ChannelRecord record{expected.channel, expected.direction, {}, 0, 0};
        ASSERT_EQ(JLINK_RTTERMINAL_Control(2, &record), 0);
        EXPECT_EQ((std::string{record.name, sizeof record.name}.substr(0, expected.name.size())), expected.name);
        EXPECT_TRUE(
            std::all_of(record.name + expected.name.size(), std::end(record.name), [](char c) { return c == 0; }));
        EXPECT_EQ(record.size, expected.size);
        EXPECT_EQ(record.flags, expected.flags);
    }
    for (const ChannelRecord& wrong :
         {ChannelRecord{2, up, {}, 0, 0}, ChannelRecord{3, down, {}, 0, 0}, ChannelRecord{0, 2, {}, 0, 0}}) {
        ChannelRecord record = wrong;
        EXPECT_EQ(JLINK_RTTERMINAL_Control(2, &record), -1);
    }
}

TEST_F(RttChannels, refuseWhatDoesNotExist)
{
    attach();
    char byte = 0;
    EXPECT_EQ(JLINK_RTTERMINAL_Read(2, &byte, 1), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Write(1, &byte, 1), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Read(0, nullptr, 1), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Write(0, nullptr, 1), -1);
    EXPECT_EQ(count(2), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Control(3, nullptr), -1);
    EXPECT_EQ(JLINK_RTTERMINAL_Control(2, nullptr), -1);
    EXPECT_TRUE(bench.take_records().empty());
    EXPECT_EQ(JLINK_RTTERMINAL_Control(9, &byte), -1);
    EXPECT_EQ(bench.take_records().size(), 1U);
}

TEST_F(RttChannels, takeBytesAsTheRingHasRoom)
{
    attach();
    const std::string behind = peek(echo_buffer + 16, 64);
    const std::string sent = "the quick brown fox jumps over the lazy dog";
    EXPECT_EQ(write(0, ""), 0);
    EXPECT_EQ(write(0, sent), static_cast<int>(sent.size()));
    std::string received;
    for (int polls = 0; polls < 10; ++polls) {
        EXPECT_EQ(read(0), ""); // lets polls pass
        const std::string taken = take_echo();
        EXPECT_LE(taken.size(), 15U) << "a ring of 16 holds 15";
        received += taken;
    }
    EXPECT_EQ(received, sent);
    EXPECT_EQ(peek(echo_buffer + 16, 64), behind) << "written beyond the ring";
}

TEST_F(RttChannels, acceptAWriteInPartWhenTheBufferOfTheLibraryIsFull)
{
    attach();
    const std::string sent(5000, 'x');
    const std::int32_t accepted = write(0, sent);
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 5000);
    // Room for what the ring took meanwhile, then none.
    std::int32_t more = 0;
    for (int i = 0; i < 3; ++i) {
        more = write(0, sent);
    }
    EXPECT_EQ(more, 0);
    take_echo();
    EXPECT_EQ(write(0, sent), 15);
}

TEST_F(RttChannels, keepBytesUntilTheHostReadsThem)
{
    attach();
    // The library's buffer fills up; then the ring, and the firmware waits.
    std::string sent;
    const std::string line(63, 'l');
    std::uint32_t write = 7;
    for (int i = 0; i < 1200; ++i) {
        const Ring ring = get_ring(block, 1);
        if ((ring.write - ring.read + ring.size) % ring.size == 0) {
            for (std::uint32_t j = 0; j < line.size(); ++j) {
                const char c = static_cast<char>('a' + (sent.size() % 26));
                poke(data_buffer + (write + j) % 64, {&c, 1});
                sent += c;
            }
            write = (write + 63) % 64;
            bench.poke_word(block + 24 + 24 + 12, write);
        }
        read(0);
    }
    EXPECT_GT(sent.size(), 65536U);
    EXPECT_LT(sent.size(), 1200U * 63);
    std::string received;
    for (std::string piece = read(1, 10000); !piece.empty(); piece = read(1, 10000)) {
        received += piece;
    }
    EXPECT_EQ(received, "payload" + sent);
}

TEST_F(RttChannels, costOnlyTheTimeOfThePolls)
{
    JLINKARM_SetSpeed(50'000);
    attach();
    // Bytes that the library has already are had for nothing; a call that waits takes a poll or a few.
    const std::uint64_t before = JLINKSIM_time_ns();
    EXPECT_EQ(read(1), "payload");
    EXPECT_EQ(JLINKSIM_time_ns(), before);
    EXPECT_EQ(read(1), "");
    const std::uint64_t waited = JLINKSIM_time_ns() - before;
    EXPECT_GE(waited, 250'000U);
    EXPECT_LE(waited, 2'000'000U);
}

} // namespace
} // namespace tessit_test
