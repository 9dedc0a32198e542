#include "cli/firmware/image.h"

#include <array>
#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

TEST(Image, AdjacentPiecesJoinInWhateverOrderTheyCome)
{
    const std::array<std::pair<std::uint32_t, Bytes>, 3> pieces{{{0x100, {1, 2}}, {0x102, {3}}, {0x103, {4, 5}}}};
    std::array<std::size_t, 3> order{0, 1, 2};
    do {
        Image image;
        for (const std::size_t i : order) {
            EXPECT_EQ(image.add(pieces[i].first, pieces[i].second), std::nullopt);
        }
        EXPECT_THAT(image.segments(), ElementsAre(Segment{0x100, {1, 2, 3, 4, 5}}));
    } while (std::ranges::next_permutation(order).found);
}

TEST(Image, ATakenAddressIsNamedAndNothingIsAdded)
{
    Image image;
    ASSERT_EQ(image.add(0x100, Bytes{1, 2, 3, 4}), std::nullopt);
    ASSERT_EQ(image.add(0x200, Bytes{5}), std::nullopt);
    const Image before = image;
    EXPECT_EQ(image.add(0xFE, Bytes{9, 9, 9}), 0x100);
    EXPECT_EQ(image.add(0x103, Bytes{9, 9}), 0x103);
    EXPECT_EQ(image.add(0x101, Bytes{9}), 0x101);
    EXPECT_EQ(image.add(0x104, Bytes(0x200)), 0x200);
    EXPECT_EQ(image, before);
}

TEST(Image, ReachesTheLastByteOfTheAddressSpace)
{
    Image image;
    EXPECT_EQ(image.add(0xFFFFFFFE, Bytes{1, 2}), std::nullopt);
    EXPECT_EQ(image.add(0xFFFFFFFF, Bytes{3}), 0xFFFFFFFF);
    EXPECT_TRUE(image.covers({0xFFFFFFFE, 2}));
    EXPECT_EQ(image.byte_at(0xFFFFFFFF), 2);
    EXPECT_EQ(image.byte_at(0xFFFFFFFD), std::nullopt);
}

TEST(Image, OverlaysOnlyWhatLiesInTheWindow)
{
    Image image;
    ASSERT_EQ(image.add(0x0FE, Bytes{1, 2, 3}), std::nullopt);
    ASSERT_EQ(image.add(0x103, Bytes{4, 5}), std::nullopt);
    Bytes window(4, 0xEE);
    image.overlay({0x100, 4}, window);
    EXPECT_THAT(window, ElementsAre(3, 0xEE, 0xEE, 4));
    EXPECT_FALSE(image.covers({0x100, 2}));
    EXPECT_TRUE(image.covers({0x103, 2}));
    EXPECT_EQ(image.size(), 5);
}

} // namespace
} // namespace tessit::cli
