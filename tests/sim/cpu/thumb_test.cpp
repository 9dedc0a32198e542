#include "sim/cpu/thumb.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace jlinksim::thumb {
namespace {

TEST(Thumb, EvaluatesAllConditionsOverAllFlags)
{
    struct Row
    {
        unsigned condition;
        const char* holds; ///< a 1 for every value of NZCV from 0000 to 1111 that it holds for
    };
    const std::vector<Row> rows{
        {0x0, "0000111100001111"}, {0x1, "1111000011110000"}, {0x2, "0011001100110011"}, {0x3, "1100110011001100"},
        {0x4, "0000000011111111"}, {0x5, "1111111100000000"}, {0x6, "0101010101010101"}, {0x7, "1010101010101010"},
        {0x8, "0011000000110000"}, {0x9, "1100111111001111"}, {0xA, "1010101001010101"}, {0xB, "0101010110101010"},
        {0xC, "1010000001010000"}, {0xD, "0101111110101111"}, {0xE, "1111111111111111"}, {0xF, "1111111111111111"},
    };
    for (const Row& row : rows) {
        const IfThen block{static_cast<std::uint8_t>(row.condition << 4U | 8U)};
        std::string holds;
        for (std::uint32_t flags = 0; flags < 16; ++flags) {
            holds += block.condition_holds(flags << 28U) ? '1' : '0';
        }
        EXPECT_EQ(holds, row.holds) << "condition " << row.condition;
    }
}

TEST(Thumb, WalksThroughAnIfThenBlockOfFour)
{
    IfThen block{0x05}; // ITTET EQ
    std::vector<bool> executed;
    for (; block.active(); block = block.next()) {
        EXPECT_EQ(IfThen::of_xpsr(block.put_into(0x61000000)).state(), block.state());
        EXPECT_EQ(block.put_into(0x67000000) & ~0x0600FC00U, 0x61000000);
        EXPECT_FALSE(block.only_next().next().active());
        executed.push_back(block.condition_holds(1U << 30U));
    }
    EXPECT_EQ(executed, (std::vector<bool>{true, true, false, true}));
}

} // namespace
} // namespace jlinksim::thumb
