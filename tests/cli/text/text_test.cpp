// Numbers, tables and progress as they are read and shown, and a text that is waited for.
#include "cli/failure.h"
#include "cli/terminal/progress.h"
#include "cli/text/base64.h"
#include "cli/text/numbers.h"
#include "cli/text/table.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using testing::HasSubstr;

TEST(Numbers, SizesAreDecimalOrHexadecimalWithAnOptionalUnit)
{
    const std::pair<const char*, std::uint64_t> cases[] = {
        {"0", 0},           {"4096", 4096},      {"0x400", 0x400},     {"0XfF", 0xFF},
        {"16k", 16 * 1024}, {"1M", 1024 * 1024}, {"0x10k", 16 * 1024}, {"4096M", std::uint64_t{1} << 32},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(parse_size(text, "size"), value) << text;
    }
}

TEST(Numbers, WhatIsNoNumberIsRefusedByName)
{
    for (const char* text : {"", "k", "0x", "0xk", "12z", "-1", "+1", " 1", "1 ", "1kk", "0x1g", "99999999999999999999",
                             "4097M", "0x100000001"}) {
        EXPECT_THAT([&] { parse_size(text, "page size"); },
                    testing::ThrowsMessage<Failure>(HasSubstr("page size '" + std::string{text} + "'")));
    }
    EXPECT_EQ(parse_u32("0xFFFFFFFF", "value"), 0xFFFFFFFF);
    EXPECT_THAT([] { parse_u32("0x1122334455", "value"); },
                testing::ThrowsMessage<Failure>(HasSubstr("does not fit into 32 bits")));
    EXPECT_THROW(parse_u32("4096M", "value"), Failure);
}

TEST(Ranges, EndOrLengthMayBeGiven)
{
    const std::pair<const char*, Range> cases[] = {
        {"0x1000-0x2000", {0x1000, 0x1000}},
        {"0x1000+4k", {0x1000, 0x1000}},
        {"0xFFFFF000-0x100000000", {0xFFFFF000, 0x1000}},
        {"0xFFFFFFFF+1", {0xFFFFFFFF, 1}},
        {"0-4096M", {0, std::uint64_t{1} << 32}},
    };
    for (const auto& [text, range] : cases) {
        EXPECT_EQ(parse_range(text), range) << text;
    }
}

TEST(Ranges, EmptyBackwardOversizedAndUnfinishedOnesAreRefused)
{
    for (const char* text : {"", "0x1000", "0x1000-", "-0x1000", "0x2000-0x1000", "0x1000-0x1000", "0x1000+0",
                             "0xFFFFFFFF+2", "0-0x100000001", "0x100000000+1", "1-2-3", "flash"}) {
        EXPECT_THROW(parse_range(text), Failure) << text;
    }
}

TEST(Ranges, ContainmentCountsTheEndAsOutside)
{
    const Range range{0x1000, 0x100};
    EXPECT_TRUE(range.contains(std::uint64_t{0x10FF}));
    EXPECT_FALSE(range.contains(std::uint64_t{0x1100}));
    EXPECT_TRUE(range.contains(Range{0x1080, 0x80}));
    EXPECT_FALSE(range.contains(Range{0x1080, 0x81}));
    EXPECT_FALSE(range.contains(Range{0xFFF, 2}));
}

TEST(Sizes, AreShownInTheLargestUnitThatComesOutEven)
{
    EXPECT_EQ(format_size(std::uint64_t{512} * 1024), "512 KiB");
    EXPECT_EQ(format_size(std::uint64_t{1024} * 1024), "1 MiB");
    EXPECT_EQ(format_size(1025), "1025 bytes");
    EXPECT_EQ(format_size(1), "1 byte");
}

TEST(Table, PadsColumnsAndLeavesNoBlanksAtTheEndOfALine)
{
    EXPECT_EQ(format_table({{"A", "LONG"}, {"BCD", "E"}, {"F"}}), "A    LONG\nBCD  E\nF\n");
}

TEST(Progress, FitsItsColumnsAndLeavesTheBarOutWhereTheyAreFew)
{
    const auto progress = [](std::size_t columns) { return format_progress({"read", 1, 4, "pages"}, columns); };
    EXPECT_EQ(progress(80), "read     [#######.......................]  25%  1 page");
    EXPECT_EQ(progress(33), "read     [##.......]  25%  1 page");
    EXPECT_EQ(progress(26), "read      25%  1 page");
    for (std::size_t columns = 0; columns < 80; ++columns) {
        EXPECT_LE(progress(columns).size(), columns);
    }
    EXPECT_EQ(format_finished({"verify", 4, 4, "pages"}, std::chrono::milliseconds{1500}),
              "verify   4 pages in 1.50 s");
    EXPECT_EQ(format_finished({"verify", 4, 4, "pages"}, {}), "verify   4 pages") << "along with the phase before";
}

TEST(Base64, BytesThatAreNoUtf8BecomeDigits)
{
    const std::pair<std::string_view, const char*> cases[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xFF\xFE\xFD\xFC", "//79/A=="}};
    for (const auto& [bytes, digits] : cases) {
        EXPECT_EQ(base64(bytes), digits);
    }
    for (const char* text : {"", "plain", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        EXPECT_TRUE(is_utf8(text)) << text;
    }
    // Cut off, too long a way, a surrogate, beyond the last character, out of place.
    for (const char* bytes :
         {"\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xA4", "\xC3z"}) {
        EXPECT_FALSE(is_utf8(bytes)) << bytes;
    }
}

} // namespace
} // namespace tessit::cli
