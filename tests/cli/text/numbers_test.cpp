#include "cli/text/numbers.h"

#include "cli/failure.h"

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
        try {
            parse_size(text, "page size");
            ADD_FAILURE() << "'" << text << "' was accepted";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::usage);
            EXPECT_THAT(failure.what(), HasSubstr("page size '" + std::string{text} + "'"));
            EXPECT_FALSE(failure.hint().empty());
        }
    }
    EXPECT_EQ(parse_u32("0xFFFFFFFF", "value"), 0xFFFFFFFF);
    EXPECT_THROW(parse_u32("0x100000000", "value"), Failure);
}

TEST(Numbers, AWordAddressIsAligned)
{
    EXPECT_EQ(parse_word_address("0x20000004"), 0x20000004);
    try {
        parse_word_address("0x20000006");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.hint(), HasSubstr("0x20000004"));
    }
}

TEST(Ranges, EndOrLengthMayBeGiven)
{
    const std::pair<const char*, Range> cases[] = {
        {"0x1000-0x2000", {0x1000, 0x1000}},
        {"0x1000+4k", {0x1000, 0x1000}},
        {"0+1", {0, 1}},
        {"64k-128k", {0x10000, 0x10000}},
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

} // namespace
} // namespace tessit::cli
