// What stands in target memory is not to be trusted.
#include "tests/sim/rtt/rtt_board.h"

namespace tessit_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class HostileRtt : public RttBoard
{
protected:
    /// The host's usual calls, all of which must come back.
    static void use_all_channels()
    {
        for (std::uint32_t i = 0; i < 3; ++i) {
            std::array<char, 16> buffer{};
            for (std::uint32_t channel = 0; channel < 2; ++channel) {
                JLINK_RTTERMINAL_Read(channel, buffer.data(), buffer.size());
            }
            JLINK_RTTERMINAL_Write(0, "x", 1);
            for (const Direction direction : {up, down}) {
                ChannelRecord record{0, direction, {}, 0, 0};
                JLINK_RTTERMINAL_Control(2, &record);
            }
        }
    }
};

TEST_F(HostileRtt, RingsAreRecordedOnceAndLeftAlone)
{
    struct Case
    {
        const char* problem;
        std::size_t ring; ///< up 0, up 1, down 0
        Ring content;
    };
    constexpr std::uint32_t ram_end = ram + ram_bytes;
    const std::vector<Case> cases{
        {"not in RAM", 0, {names, 0, 64, 5, 0, 0}},                  // in flash
        {"not in RAM", 0, {names, ram - 4, 64, 5, 0, 0}},            // begins before RAM
        {"not in RAM", 0, {names, ram_end - 63, 64, 5, 0, 0}},       // ends beyond it
        {"not in RAM", 0, {names, 0xFFFFFFF0, 64, 5, 0, 0}},         // wraps around
        {"not in RAM", 0, {names, log_buffer, 0xFFFFFFFF, 5, 0, 0}}, // larger than everything
        {"not in RAM", 0, {names, log_buffer, 0x80000000, 0x7FFFFFFF, 0, 0}},
        {"not in RAM", 0, {names, 0x4001E400, 64, 5, 0, 0}}, // a peripheral
        {"no room for a byte", 0, {names, log_buffer, 0, 5, 0, 0}},
        {"no room for a byte", 0, {names, log_buffer, 1, 0, 0, 0}},
        {"write offset", 0, {names, log_buffer, 64, 64, 0, 0}},
        {"write offset", 0, {names, log_buffer, 64, 0xFFFFFFFF, 0, 0}},
        {"read offset", 0, {names, log_buffer, 64, 5, 64, 0}},
        {"read offset", 0, {names, log_buffer, 64, 5, 0x80000000, 0}},
        {"overlaps the control block", 0, {names, block - 32, 64, 5, 0, 0}},
        {"overlaps the control block", 2, {names, block + 90, 64, 0, 0, 0}},
        {"not in RAM", 2, {names, 0x1000, 16, 0, 0, 0}},
        {"no room for a byte", 2, {names, echo_buffer, 1, 0, 0, 0}},
        {"write offset", 2, {names, echo_buffer, 16, 16, 0, 0}},
        {"read offset", 2, {names, echo_buffer, 16, 0, 0xFFFFFFFF, 0}},
    };
    for (const Case& hostile : cases) {
        SCOPED_TRACE(testing::Message() << hostile.problem << ", ring " << hostile.ring << ", buffer " << std::hex
                                        << hostile.content.buffer << ", size " << hostile.content.size);
        std::vector<Ring> rings = usual_rings();
        rings[1].write = 0;
        rings[hostile.ring] = hostile.content;
        make_block(block, 2, 1, rings);
        const std::string before = hostile.ring == 2 ? peek(ram, ram_bytes) : "";
        ASSERT_EQ(start(), 0);
        ASSERT_EQ(find(), 2);
        use_all_channels();
        EXPECT_THAT(bench.take_records(), ElementsAre(HasSubstr(hostile.problem)));
        EXPECT_EQ(std::memcmp(&rings[hostile.ring],
                              peek(block + 24 + 24 * static_cast<std::uint32_t>(hostile.ring), sizeof(Ring)).data(),
                              sizeof(Ring)),
                  0);
        if (hostile.ring == 2) {
            EXPECT_TRUE(peek(ram, ram_bytes) == before) << "RAM was written to";
        }
        // The other rings work.
        bench.poke_word(block + 24 + 24 + 12, 7);
        EXPECT_EQ(read(1), "payload");
        ASSERT_EQ(stop(), 0);
    }
}

TEST_F(HostileRtt, BlocksThatMakeNoSenseAreNone)
{
    struct Case
    {
        const char* what;
        std::uint32_t address;
        std::uint32_t up_count;
        std::uint32_t down_count;
        const char* record; ///< null: nothing to tell
    };
    constexpr std::uint32_t ram_end = ram + ram_bytes;
    for (const Case& hostile :
         {Case{"a negative count", block, 0xFFFFFFFF, 1, "-1 up"}, Case{"too many rings", block, 33, 0, "33 up"},
          Case{"too many down rings", block, 2, 0x7FFFFFFF, "2147483647 down"},
          Case{"rings beyond the end of RAM", ram_end - 44, 1, 0, "do not fit"},
          Case{"unaligned", block + 2, 2, 1, nullptr}}) {
        SCOPED_TRACE(hostile.what);
        make_block(hostile.address, hostile.up_count, hostile.down_count, {});
        const std::string before = peek(ram, ram_bytes);
        ASSERT_EQ(start(), 0);
        EXPECT_EQ(find(), not_found);
        ASSERT_EQ(start(hostile.address), 0);
        EXPECT_EQ(find(), not_found);
        EXPECT_TRUE(peek(ram, ram_bytes) == before);
        const std::vector<std::string> records = bench.take_records();
        if (hostile.record == nullptr) {
            EXPECT_THAT(records, IsEmpty());
        } else { // once by the search, once at the address
            EXPECT_THAT(records, ElementsAre(HasSubstr(hostile.record), HasSubstr(hostile.record)));
        }
        bench.poke_word(hostile.address, 0);
    }
    // An identifier at the very end, and addresses where nothing can be.
    poke(ram_end - 16, identifier());
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(find(), not_found);
    for (const std::uint32_t address : {0U, ram_end - 16, ram_end, 0xFFFFFFF8U, 0x4001E000U}) {
        ASSERT_EQ(start(address), 0);
        EXPECT_EQ(find(), not_found) << address;
    }
    // The search goes on after a block that makes no sense.
    make_block(block, 0xFFFFFFFF, 1, {});
    make_usual_block(block + 0x40);
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(find(), 2);
    bench.take_records();
}

TEST_F(HostileRtt, RingsThatGoWrongAreUsedAgainWhenTheyAreRight)
{
    make_usual_block();
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);
    EXPECT_EQ(read(1), "payload");
    constexpr std::uint32_t write_field = block + 24 + 24 + 12;
    for (int again = 0; again < 2; ++again) {
        bench.poke_word(write_field, 0xFFFF0000);
        EXPECT_EQ(read(1), "");
        EXPECT_EQ(read(1), "");
        EXPECT_THAT(bench.take_records(), ElementsAre(HasSubstr("up ring 1: its write offset")));
        bench.poke_word(write_field, 7);
        EXPECT_EQ(read(1), "");
    }
    poke(data_buffer + 7, "on");
    bench.poke_word(write_field, 9);
    EXPECT_EQ(read(1), "on");
    // The whole block may go wrong, too.
    bench.poke_word(block + 16, 0x80000000);
    EXPECT_EQ(find(), not_found);
    EXPECT_THAT(bench.take_records(), ElementsAre(HasSubstr("rtt-control-block")));
    bench.poke_word(block + 16, 2);
    EXPECT_EQ(find(), 2);
}

TEST_F(HostileRtt, RingsInRamWithoutPowerAreNotInRam)
{
    std::vector<Ring> rings = usual_rings();
    rings[0].buffer = ram + 0x5000;
    rings[0].write = 5;
    make_block(block, 2, 1, rings);
    write_word(0x40000928, 2); // RAM section 5 off
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(find(), 2);
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(1), "payload");
    EXPECT_THAT(bench.take_records(), ElementsAre(HasSubstr("up ring 0: its buffer is not in RAM")));
}

TEST_F(HostileRtt, NamesAreReadFromMemoryOnly)
{
    for (const std::uint32_t address : {0x40000400U, 0x30000000U, 0xFFFFFFFEU, ram + ram_bytes, ram + ram_bytes - 2}) {
        SCOPED_TRACE(address);
        poke(ram + ram_bytes - 2, "xy");
        std::vector<Ring> rings = usual_rings();
        rings[0].name = address;
        make_block(block, 2, 1, rings);
        ASSERT_EQ(start(), 0);
        ASSERT_EQ(find(), 2);
        ChannelRecord record{0, up, {}, 0, 0};
        EXPECT_EQ(JLINK_RTTERMINAL_Control(2, &record), 0);
        EXPECT_EQ(record.name[0], 0);
        EXPECT_EQ(record.size, 64U);
        EXPECT_THAT(bench.take_records(), ElementsAre(HasSubstr("rtt-channel-name")));
    }
}

} // namespace
} // namespace tessit_test
