#include "cli/rtt/text_watch.h"

#include <gtest/gtest.h>

namespace tessit::cli {
namespace {

TEST(TextWatchTest, FindsATextHoweverItIsCut)
{
    const std::string stream = "xaabaabaacx";
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            TextWatch watch{"aabaac"};
            TextWatch other{"aabaad"};
            const std::string_view text{stream};
            bool has_come = false;
            for (const std::string_view piece :
                 {text.substr(0, first), text.substr(first, second - first), text.substr(second)}) {
                has_come = watch.take(piece);
                EXPECT_FALSE(other.take(piece));
            }
            EXPECT_TRUE(has_come) << first << ", " << second;
            EXPECT_TRUE(watch.take("later")) << "it has come, once and for all";
        }
    }
}

TEST(TextWatchTest, WaitsForNoTextForever)
{
    TextWatch watch{""};
    EXPECT_FALSE(watch.take("anything"));
    TextWatch one{"x"};
    EXPECT_FALSE(one.take("abc"));
    EXPECT_TRUE(one.take("x"));
}

} // namespace
} // namespace tessit::cli
