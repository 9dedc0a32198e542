// The words that are a unit's own, the fingerprint of an image, and the record of what became of a board.
#include "cli/failure.h"
#include "cli/firmware/sha256.h"
#include "cli/line/block_view.h"
#include "cli/line/record.h"
#include "cli/line/unit_values.h"
#include "tests/support/temp_folder.h"

#include <array>
#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(Units, AFileOfASpreadsheetGivesEachUnitItsValues)
{
    const tessit_test::TempFolder folder;
    const Units units{folder.write("units.csv", "\xEF\xBB\xBFserial,0x10001080,\"0x10001084\"\r\n"
                                                "600000001,0x12,7\r\n\r\n\" 600000002 \", 4k , \"8\"")};
    EXPECT_EQ(units.of(600000001), (UnitValues{{0x10001080, 0x12}, {0x10001084, 7}}));
    EXPECT_EQ(units.of(600000002), (UnitValues{{0x10001080, 4096}, {0x10001084, 8}}));
    EXPECT_THAT([&] { units.of(600000003); }, ThrowsMessage<Failure>(HasSubstr("no line for the unit 600000003")));
}

TEST(Units, AFileIsRefusedByLineAndReason)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "no unit"},
        {"serial,0x80\n\n", ":2: there is no unit"},
        {"unit,0x80\n1,1\n", ":1: the first line"},
        {"serial\n1\n", ":1: the first line"},
        {"serial,0x81\n", ":1: the address '0x81'"},
        {"serial,0x80,128\n", ":1: the address 128 has two columns"},
        {"serial,0x80\n1\n", ":2: 1 values"},
        {"serial,0x80\n1,2,3\n", ":2: 3 values"},
        {"serial,0x80\n1,\n", ":2: the value ''"},
        {"serial,0x80\n1,0x1g\n", ":2: the value '0x1g'"},
        {"serial,0x80\n1,0x100000000\n", ":2: the value"},
        {"serial,0x80\nx,1\n", ":2: the serial number 'x'"},
        {"serial,0x80\n1,1\n2,1\n1,2\n", ":4: the unit 1 is there already"},
    };
    const tessit_test::TempFolder folder;
    for (const auto& [text, reason] : cases) {
        const auto file = folder.write("units.csv", text);
        EXPECT_THAT([&] { Units{file}; }, ThrowsMessage<Failure>(HasSubstr(reason))) << text;
    }
}

TEST(UnitValues, AreToldFromFilesAndNeverOverwriteTheImage)
{
    EXPECT_EQ(parse_unit_value("0x10001080=4k"), (UnitValue{0x10001080, 4096}));
    for (const char* file : {"app.hex", "a=b.hex", "app.bin@0x80", "./0x80=1.bin", "0x80.bin"}) {
        EXPECT_FALSE(parse_unit_value(file)) << file;
    }
    EXPECT_THROW(parse_unit_value("0x82=1"), Failure);
    EXPECT_THROW(parse_unit_value("0x10001080"), Failure);
    EXPECT_THROW(parse_unit_value("0x80="), Failure);
    Image image;
    add_values(image, {{0x80, 0x04030201}});
    EXPECT_EQ(image.segments().front().bytes, (std::vector<std::uint8_t>{1, 2, 3, 4}));
    EXPECT_THAT([&] { add_values(image, {{0x80, 0x04030201}}); }, ThrowsMessage<Failure>(HasSubstr("0x00000080")));
}

TEST(Sha256, IsThatOfThePublishedExamples)
{
    const auto hash = [](const std::string& text) {
        return sha256({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    };
    EXPECT_EQ(hash(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hash("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(hash(std::string(1000000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Record, ADiskThatIsFullIsNoSilentLoss)
{
    const Record record{"/dev/full", "hash"};
    EXPECT_THROW(record.require_writable(), Failure);
    EXPECT_THAT(
        [&] { record.append({}, {}); },
        ThrowsMessage<Failure>(HasSubstr("the board is done, but that cannot be recorded in /dev/full: No space")));
}

TEST(BlockView, ARowFitsTheTerminal)
{
    EXPECT_EQ(format_row(600000001, "waits", 80), "600000001  waits");
    EXPECT_EQ(format_row(600000001, "waits", 13), "600000001  wa");
}

} // namespace
} // namespace tessit::cli
