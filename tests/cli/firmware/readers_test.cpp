// The readers against files that are written here by hand: what they accept, and every way of being malformed.
#include "cli/failure.h"
#include "cli/firmware/firmware.h"
#include "tests/support/temp_folder.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using tessit_test::TempFolder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using Parser = Image (*)(std::string_view, const std::string&);

struct Malformed
{
    const char* text;
    std::size_t line;
    const char* reason;
};

void expect_refused(Parser parse, const Malformed& malformed)
{
    const std::string place = "app:" + std::to_string(malformed.line) + ": ";
    EXPECT_THAT([&] { parse(malformed.text, "app"); },
                testing::ThrowsMessage<Failure>(AllOf(StartsWith(place), HasSubstr(malformed.reason))));
}

constexpr const char* hex_end = ":00000001FF\n";

TEST(IntelHex, ReadsDataInEveryAddressMode)
{
    EXPECT_THAT(parse_intel_hex(":0300300002337A1E\r\n:00000001FF\r\n", "app").segments(),
                ElementsAre(Segment{0x30, {0x02, 0x33, 0x7A}}));
    // Extended linear: the upper 16 bits. Lower case and blank lines are accepted.
    EXPECT_THAT(parse_intel_hex(":020000040001f9\n\n:02FFFF00AABB9B\n:00000001ff", "app").segments(),
                ElementsAre(Segment{0x1FFFF, {0xAA, 0xBB}}));
    // Extended segment: bits 19:4, and the offset wraps within 64 KiB.
    EXPECT_THAT(parse_intel_hex(":020000021000EC\n:02FFFF00AABB9B\n:00000001FF", "app").segments(),
                ElementsAre(Segment{0x10000, {0xBB}}, Segment{0x1FFFF, {0xAA}}));
    // Start addresses are for a loader that starts the program.
    EXPECT_TRUE(parse_intel_hex(":0400000500000101F5\n:0400000300000101F7\n:00000001FF", "app").empty());
}

TEST(IntelHex, RefusesEveryMalformedRecordByLineAndReason)
{
    const Malformed cases[] = {
        {":0300300002337A1E\n", 1, "without its end record"},
        {"", 0, "without its end record"},
        {":0300300002337A1E\n0300300002337A1E\n", 2, "does not begin with ':'"},
        {"S00600004844521B\n", 1, "does not begin with ':'"},
        {":0300300002337A1\n", 1, "odd number"},
        {":03003000023G7A1E\n", 1, "'3G' is not a hexadecimal byte"},
        {":03003000 2337A1E\n", 1, "' 2' is not a hexadecimal byte"},
        {":00\n", 1, "too short"},
        {":0400300002337A1D\n", 1, "announces 4 data bytes and has 3"},
        {":0200300002337A1F\n", 1, "announces 2 data bytes and has 3"},
        {":0300300002337A1F\n", 1, "checksum is 0x1F and should be 0x1E"},
        {":00000006FA\n", 1, "type 0x06 is not known"},
        {":0100000400FB\n", 1, "type 4 has 2 data bytes, not 1"},
        {":0100000100FE\n", 1, "type 1 has 0 data bytes, not 1"},
        {":00000001FF\n:0300300002337A1E\n", 2, "more after the end-of-file record"},
        {":0300300002337A1E\n:0100320000CD\n:00000001FF\n", 2, "address 0x00000032 was given already"},
        {":02000004FFFFFC\n:02FFFF00AABB9B\n:00000001FF\n", 2, "beyond 4 GiB"},
    };
    for (const Malformed& malformed : cases) {
        expect_refused(&parse_intel_hex, malformed);
    }
}

TEST(SRecord, ACountThatAgreesEndsAFileWithoutAnEndRecord)
{
    EXPECT_THAT(parse_srecord("S1051000AABB85\nS604000001FA\n", "app").segments(),
                ElementsAre(Segment{0x1000, {0xAA, 0xBB}}));
    expect_refused(&parse_srecord, {"S1051000AABB85\nS5030001FB\nS1051002AABB83\n", 3, "without its end record"});
}

TEST(SRecord, RefusesEveryMalformedRecordByLineAndReason)
{
    const Malformed cases[] = {
        {"S1051000AABB85\n", 1, "without its end record"},
        {"S1051000AABB85\nX1051000AABB85\n", 2, "does not begin with 'S'"},
        {"SA051000AABB85\n", 1, "does not begin with 'S'"},
        {"S\n", 1, "does not begin with 'S'"},
        {"S4051000AABB85\n", 1, "reserved"},
        {"S10310\n", 1, "too short"},
        {"S1061000AABB85\n", 1, "announces 6 bytes and has 5"},
        {"S1051000AABB86\n", 1, "checksum is 0x86 and should be 0x85"},
        {"S1051000AABB85\nS5030002FA\nS9030000FC\n", 2, "says 2 data records and there are 1"},
        {"S9030000FC\nS1051000AABB85\n", 2, "more after the end record"},
        {"S1051000AABB85\nS1051001AABB84\nS9030000FC\n", 2, "address 0x00001001 was given already"},
        {"S307FFFFFFFFAABB97\nS70500000000FA\n", 1, "beyond 4 GiB"},
    };
    for (const Malformed& malformed : cases) {
        expect_refused(&parse_srecord, malformed);
    }
}

std::string refusal_of(const std::vector<std::string>& arguments)
{
    try {
        read_firmware(arguments);
    } catch (const Failure& failure) {
        return std::string{failure.what()} + "\n" + failure.hint();
    }
    return "accepted";
}

TEST(FirmwareFiles, AreToldApartByEndingAndThenByContent)
{
    const TempFolder folder;
    const std::string hex = std::string{":0300300002337A1E\n"} + hex_end;
    const Segment segment{0x30, {0x02, 0x33, 0x7A}};
    for (const char* name : {"app.hex", "APP.HEX", "app.ihex", "app", "app.txt"}) {
        EXPECT_THAT(read_firmware(folder.write(name, hex).string()).segments(), ElementsAre(segment)) << name;
    }
    EXPECT_THAT(read_firmware(folder.write("app.img", "S1051000AABB85\nS9030000FC\n").string()).segments(),
                ElementsAre(Segment{0x1000, {0xAA, 0xBB}}));
    EXPECT_THAT(read_firmware(folder.write("app.bin", "ab").string() + "@0x20000").segments(),
                ElementsAre(Segment{0x20000, {'a', 'b'}}));
    EXPECT_THAT(read_firmware(folder.write("v1@2.hex", hex).string()).segments(), ElementsAre(segment));
}

TEST(FirmwareFiles, UnusableOnesAreRefusedWithWhatToDo)
{
    const TempFolder folder;
    const std::string bin = folder.write("app.bin", "ab").string();
    const std::string hex = folder.write("app.hex", std::string{":0300300002337A1E\n"} + hex_end).string();
    EXPECT_THAT(refusal_of({(folder.path() / "none.hex").string()}),
                AllOf(HasSubstr("none.hex"), HasSubstr("No such file")));
    EXPECT_THAT(refusal_of({folder.path().string()}), HasSubstr("directory"));
    EXPECT_THAT(refusal_of({bin}), AllOf(HasSubstr("holds no address"), HasSubstr("app.bin@0x0")));
    EXPECT_THAT(refusal_of({bin + "@zero"}), HasSubstr("'zero'"));
    EXPECT_THAT(refusal_of({bin + "@0xFFFFFFFF"}), HasSubstr("beyond 4 GiB"));
    EXPECT_THAT(refusal_of({hex + "@0x100"}), HasSubstr("holds its own addresses"));
    EXPECT_THAT(refusal_of({folder.write("notes", "hello").string()}), HasSubstr("neither Intel HEX"));
    EXPECT_THAT(refusal_of({folder.write("none.hex", "").string()}), HasSubstr("none.hex: the file is empty"));
    EXPECT_THAT(refusal_of({folder.write("app.uf2", "UF2\nWQ").string()}), HasSubstr("this is a UF2 file"));
    EXPECT_THAT(refusal_of({folder.write("boards.hex", ":0400000A9903C0DEB8\n").string()}),
                HasSubstr("boards of several kinds"));
    EXPECT_THAT(refusal_of({folder.write("empty.hex", hex_end).string()}), HasSubstr("holds no data"));
}

TEST(FirmwareFiles, SeveralAreJoinedAndOverlapsNameBothFiles)
{
    const TempFolder folder;
    const std::string boot = folder.write("boot.bin", "abcd").string() + "@0x0";
    const std::string app = folder.write("app.bin", "efgh").string() + "@0x4";
    const std::string late = folder.write("late.bin", "ijkl").string() + "@0x6";
    EXPECT_EQ(read_firmware({app, boot}).segments().size(), 1);
    EXPECT_THAT(refusal_of({boot, app, late}), AllOf(HasSubstr(app + " and " + late), HasSubstr("0x00000006")));
    EXPECT_THAT(refusal_of({boot, boot}), HasSubstr("0x00000000"));
}

TEST(FirmwareFiles, ReadsAreWrittenByEnding)
{
    const TempFolder folder;
    const std::vector<std::uint8_t> bytes{1, 2, 3};
    write_firmware(folder.path() / "out.bin", 0xFFFFFFFD, bytes);
    write_firmware(folder.path() / "out.hex", 0xFFFFFFFD, bytes);
    EXPECT_THAT(read_firmware((folder.path() / "out.bin@0xFFFFFFFD").string()),
                read_firmware((folder.path() / "out.hex").string()));
}

} // namespace
} // namespace tessit::cli
