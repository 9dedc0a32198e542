#include "cli/terminal/progress.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

TEST(Progress, FitsItsColumnsAndLeavesTheBarOutWhereTheyAreFew)
{
    const auto progress = [](std::size_t columns) { return format_progress("read", 1, 4, "pages", columns); };
    EXPECT_EQ(progress(80), "read     [#######.......................]  25%  1 page");
    EXPECT_EQ(progress(33), "read     [##.......]  25%  1 page");
    EXPECT_EQ(progress(26), "read      25%  1 page");
    for (std::size_t columns = 0; columns < 80; ++columns) {
        EXPECT_LE(progress(columns).size(), columns);
    }
}

} // namespace
} // namespace tessit::cli
