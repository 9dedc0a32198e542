// `program`, `verify` and `read`: from a file into the chip and back out of it.
#include "tests/cli/program/bench_fixture.h"

#include <filesystem>

namespace tessit::cli {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class ProgramTest : public BenchTest
{
protected:
    // Four bytes at 0x10.
    std::string hex() const { return file("app.hex", ":0400100001020304E2\n:00000001FF\n"); }
};

TEST_F(ProgramTest, AnImageIsProgrammedVerifiedAndReadByAnotherProcess)
{
    EXPECT_THAT(tessit({"program", hex()}).output, HasSubstr("CPU is halted"));
    EXPECT_EQ(cpu(), "halted");
    EXPECT_THAT(tessit({"verify", hex()}), Exits(0));
    EXPECT_THAT(tessit({"read", "0x8+16"}).output,
                StartsWith("00000008  ff ff ff ff ff ff ff ff 01 02 03 04 ff ff ff ff  |................|"));
    EXPECT_THAT(tessit({"program", hex(), "--reset"}).output, HasSubstr("was reset"));

    const Outcome outcome = tessit({"verify", file("b.hex", ":0400100001FF03FFEA\n:00000001FF\n")});
    EXPECT_THAT(outcome, FailsWith(6, "in 2 bytes"));
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("0x00000011  expected 0xff, found 0x02"),
                                      HasSubstr("0x00000013  expected 0xff, found 0x04")));
}

TEST_F(ProgramTest, OnlyPagesThatNeedItAreErasedAndTheBytesAroundStay)
{
    const std::string firmware = binary("app.bin", 0x4000) + "@0";
    EXPECT_EQ(tessit_json({"program", firmware})["pages_erased"], 0); // blank already
    const auto again = tessit_json({"program", firmware});
    EXPECT_EQ(again["pages_touched"], 4);
    EXPECT_EQ(again["pages_changed"], 0);
    EXPECT_EQ(again["written_bytes"], 0);
    EXPECT_THAT(tessit({"program", binary("patch.bin", 7, 2) + "@0xFFD"}).output, HasSubstr("2 pages erased"));
    std::string expected = content("app.bin");
    expected.replace(0xFFD, 7, content("patch.bin"));
    ASSERT_THAT(tessit({"read", "0+0x4000", "--output", path("after.bin")}), Exits(0));
    EXPECT_EQ(content("after.bin"), expected);
}

TEST_F(ProgramTest, AnImageOfTheWholeFlashIsErasedAtOnceUnlessTheUicrWouldBeLost)
{
    const std::string whole = binary("whole.bin", std::size_t{512} * 1024) + "@0";
    const std::string other = binary("other.bin", std::size_t{512} * 1024, 2) + "@0";
    EXPECT_EQ(tessit_json({"program", whole, "--loader", "off"})["erased_all"], true);
    ASSERT_THAT(tessit({"write", "0x10001080", "0x12345678", "--flash"}), Exits(0));
    EXPECT_EQ(tessit_json({"program", other, "--loader", "off"})["erased_all"], false);
    EXPECT_EQ(memory("0x10001080+4"), "78563412");
    EXPECT_THAT(tessit({"verify", other}), Exits(0));
}

TEST_F(ProgramTest, WhatIsErasedIsWhatTheOptionSays)
{
    const std::string first = file("a.bin", "\x0F\xFF\xFF\xFF") + "@0x10001080";
    const std::string second = file("b.bin", "\xF0\xFF\xFF\xFF") + "@0x10001080";
    ASSERT_THAT(tessit({"program", first, path("a.bin") + "@0x8000", "--erase", "none"}), Exits(0));
    EXPECT_THAT(tessit({"program", path("b.bin") + "@0x8000", "--erase", "none"}), FailsWith(1, "0x00008000"));
    EXPECT_THAT(tessit({"program", second}), FailsWith(1, "0x10001080")) << "the UICR is not erased unasked";
    EXPECT_EQ(memory("0x8000") + memory("0x10001080"), "0fffffff0fffffff");
    EXPECT_THAT(tessit({"program", second, hex(), "--erase", "all"}), Exits(0));
    EXPECT_EQ(memory("0x8000") + memory("0x10001080") + memory("0x10"), "fffffffff0ffffff01020304");
}

TEST_F(ProgramTest, AnImageThatLocksTheChipNeedsAnExplicitYes)
{
    const std::string firmware = file("lock.bin", std::string(4, '\0')) + "@0x10001208";
    EXPECT_THAT(tessit({"program", firmware, hex()}), FailsWith(1, "--allow-protect"));
    EXPECT_EQ(memory("0x10+4"), "ffffffff");
    EXPECT_THAT(tessit({"program", firmware, "--allow-protect"}), Exits(0));
    ASSERT_THAT(tessit({"reset", "--kind", "pin"}), Exits(0));
    EXPECT_THAT(tessit({"read", "0+4"}), FailsWith(5, "protected"));

    ASSERT_THAT(tessit({"recover", "--yes"}), Exits(0));
    EXPECT_THAT(tessit({"program", firmware, hex(), "--allow-protect", "--reset"}).output,
                HasSubstr("protected from now on"));
    EXPECT_THAT(tessit({"read", "0+4"}), FailsWith(5, "protected"));
}

TEST_F(ProgramTest, BlockProtectionIsLiftedWhereItStandsInTheWay)
{
    const std::string image = binary("image.bin", 0x2800) + "@0";
    const std::tuple<const char*, const char*, Arguments> cases[] = {
        {"BIRCH_M1_VB_REV1", "0x5A", {"erase", "--range", "0+8k"}},
        {"BIRCH_M1_VB_REV1", "0x5A", {"erase", "--all"}},
        {"BIRCH_M1_VB_REV1", "0x5A", {"erase", "--mass"}},
        {"BIRCH_M1_VB_REV1", "0x5A", {"recover", "--yes"}},
        {"BIRCH_M1_VB_REV1", "0x5A", {"program", image}},
        {"BIRCH_M1_VB_REV1", "0xFF", {"program", image}}, // what is blank takes no writes either
        {"BIRCH_M2_VA_REV1", "0x5A", {"erase", "--page", "0"}},
        {"BIRCH_M2_VA_REV1", "0x5A", {"program", image}},
    };
    for (const auto& [version, fill, arguments] : cases) {
        SCOPED_TRACE(version + testing::PrintToString(arguments) + fill);
        std::filesystem::remove_all(path("bench.toml.state"));
        set_chip(version, std::string{"protected_blocks = [0, 1]\nflash_fill = "} + fill);
        const Outcome outcome = tessit(arguments);
        EXPECT_THAT(outcome, Exits(0));
        if (arguments[0] == "program") {
            EXPECT_THAT(tessit({"verify", image}), Exits(0));
        } else {
            EXPECT_EQ(memory("0+0x1000"), std::string(std::size_t{2} * 0x1000, 'f'));
        }
        EXPECT_THAT(take_records(), HasSubstr("flash-block-protected"));
        EXPECT_THAT(outcome.errors, HasSubstr("lifting the block protection"));
    }
}

TEST_F(ProgramTest, WhatCannotBeProgrammedIsRefusedBeforeAnythingIsErased)
{
    ASSERT_THAT(tessit({"program", hex()}), Exits(0));
    const std::tuple<std::string, int, const char*> cases[] = {
        {binary("a.bin", 32) + "@0x7FFF0", 2, "0x00080000"},
        {binary("b.bin", 4) + "@0x80000", 2, "0x00080000"},
        {binary("c.bin", 4) + "@0x20000000", 2, "RAM"},
        {binary("d.bin", 4) + "@0x10000100", 2, "FICR"},
        {binary("e.bin", 0x2000) + "@0x10000800", 2, "FICR"},
        {binary("f.bin", 4) + "@0x12000000", 2, "external flash"},
        {file("bad.hex", ":0400100001020304E3\n:00000001FF\n"), 1, "bad.hex:1: the checksum is 0xE3"},
    };
    for (const auto& [firmware, exit_code, reason] : cases) {
        EXPECT_THAT(tessit({"program", firmware, "--erase", "all"}), FailsWith(exit_code, reason)) << firmware;
    }
    EXPECT_THAT(tessit({"program", hex(), hex()}), FailsWith(2, "both hold data for 0x00000010"));
    EXPECT_EQ(memory("0x10+4"), "01020304");
}

TEST_F(ProgramTest, FlashSizesThatTheChipDoesNotTellCanBeGivenByHand)
{
    set_chip("BIRCH_M1_VA_REV2", "ficr = { \"0x010\" = 0xFFFFFFFF, \"0x014\" = 0xFFFFFFFF }");
    EXPECT_THAT(tessit({"program", hex()}), FailsWith(1, "--flash-size"));
    EXPECT_THAT(tessit({"program", hex(), "--flash-size", "512k", "--page-size", "4k"}), Exits(0));
    EXPECT_EQ(memory("0x10+4"), "01020304");

    set_chip("BIRCH_M1_VA_REV2");
    ASSERT_THAT(tessit({"sim", "factory-reset"}), Exits(0));
    EXPECT_THAT(tessit({"program", hex(), "--page-size", "2k"}), FailsWith(2, "contradicts the chip"));
    EXPECT_THAT(tessit({"erase", "--page", "0", "--flash-size", "1M"}), FailsWith(2, "contradicts the chip"));
    EXPECT_THAT(tessit({"program", hex(), "--page-size", "3"}), FailsWith(2, "--page-size 3"));
    EXPECT_THAT(tessit({"program", hex(), "--flash-size", "512k", "--page-size", "4k"}), Exits(0));
}

TEST_F(ProgramTest, ReadSavesByEndingAndLeavesNoHalfWrittenFile)
{
    const std::string firmware = binary("app.bin", 0x1100);
    ASSERT_THAT(tessit({"program", firmware + "@0x1000"}), Exits(0));
    ASSERT_THAT(tessit({"read", "0x1000+0x1100", "-o", path("out.hex")}), Exits(0));
    const Outcome whole = tessit({"read", "flash", "-o", path("out.bin")});
    EXPECT_THAT(whole.errors, HasSubstr(" in 1.52 s\n")) << "131072 words of 46 clocks, whatever the host's load";
    EXPECT_THAT(tessit({"verify", path("out.hex")}), Exits(0));
    EXPECT_EQ(content("out.bin").substr(0x1000, 0x1100), content("app.bin"));
    EXPECT_EQ(content("out.bin").size(), 512 * 1024);

    EXPECT_THAT(tessit({"read", "0+16", "-o", path("out.elf")}), FailsWith(2, "ending"));
    std::filesystem::create_symlink("/dev/full", path("full.bin"));
    EXPECT_THAT(tessit({"read", "flash", "-o", path("full.bin")}), FailsWith(1, "No space left"));
}

TEST_F(ProgramTest, RefusalsLeaveTheFirmwareRunning)
{
    program_endless_loop();
    EXPECT_THAT(tessit({"program", binary("a.bin", 4) + "@0x80000"}), Exits(2));
    EXPECT_EQ(cpu(), "running");
    EXPECT_THAT(tessit({"verify", hex()}), Exits(6));
    EXPECT_EQ(cpu(), "running");
}

} // namespace
} // namespace tessit::cli
