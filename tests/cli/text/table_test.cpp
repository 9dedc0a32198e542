#include "cli/text/table.h"

#include <gtest/gtest.h>
#include <numeric>

namespace tessit::cli {
namespace {

TEST(HexDump, ShowsAddressesBytesAndCharactersAlsoOfAShortLastLine)
{
    std::vector<std::uint8_t> bytes(18);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0x1F});
    EXPECT_EQ(format_hex_dump(0x1FFFFFF8, bytes),
              "1ffffff8  1f 20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e  |. !\"#$%&'()*+,-.|\n"
              "20000008  2f 30                                            |/0|\n");
}

TEST(WordDump, ShowsLittleEndianWords)
{
    const std::vector<std::uint8_t> bytes{0x78, 0x56, 0x34, 0x12, 1, 0, 0, 0};
    EXPECT_EQ(format_word_dump(0x20000000, bytes), "20000000  12345678 00000001\n");
}

TEST(Table, PadsColumnsAndLeavesNoBlanksAtTheEndOfALine)
{
    EXPECT_EQ(format_table({{"A", "LONG"}, {"BCD", "E"}, {"F"}}), "A    LONG\nBCD  E\nF\n");
}

} // namespace
} // namespace tessit::cli
