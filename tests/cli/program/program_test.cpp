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

TEST_F(ProgramTest, EveryFormatIsProgrammedVerifiedAndReadByAnotherProcess)
{
    const std::string cases[] = {
        hex(),
        file("app.srec", "S107001001020304DE\nS9030000FC\n"),
        file("app.bin", "\x01\x02\x03\x04") + "@0x10",
    };
    for (const std::string& firmware : cases) {
        ASSERT_THAT(tessit({"erase", "--all"}), Exits(0));
        EXPECT_THAT(tessit({"program", firmware}), Exits(0)) << firmware;
        EXPECT_THAT(tessit({"verify", firmware}), Exits(0)) << firmware;
        EXPECT_THAT(tessit({"read", "0x8+16"}).output,
                    StartsWith("00000008  ff ff ff ff ff ff ff ff 01 02 03 04 ff ff ff ff  |................|"));
    }
}

TEST_F(ProgramTest, BytesAroundTheImageSurviveInThePagesThatItTouches)
{
    const std::string before = binary("before.bin", 0x3000, 1);
    ASSERT_THAT(tessit({"program", before + "@0"}), Exits(0));
    ASSERT_THAT(tessit({"program", binary("patch.bin", 7, 2) + "@0xFFD"}), Exits(0)); // across a page border

    std::string expected = content("before.bin");
    expected.replace(0xFFD, 7, content("patch.bin"));
    ASSERT_THAT(tessit({"read", "0+0x3000", "--output", path("after.bin")}), Exits(0));
    EXPECT_EQ(content("after.bin"), expected);
}

TEST_F(ProgramTest, OnlyPagesThatNeedItAreErasedAndEqualOnesAreLeftAlone)
{
    const std::string firmware = binary("app.bin", 0x4000) + "@0";
    EXPECT_EQ(tessit_json({"program", firmware})["pages_erased"], 0); // blank already
    const auto again = tessit_json({"program", firmware});
    EXPECT_EQ(again["pages_touched"], 4);
    EXPECT_EQ(again["pages_changed"], 0);
    EXPECT_EQ(again["written_bytes"], 0);

    // One byte that only clears bits needs no erase, one that sets bits does.
    ASSERT_THAT(tessit({"program", file("ff.bin", "\xFF") + "@0x1000"}), Exits(0));
    const auto cleared = tessit_json({"program", file("f0.bin", "\xF0") + "@0x1000"});
    EXPECT_EQ(cleared["pages_changed"], 1);
    EXPECT_EQ(cleared["pages_erased"], 0);
    EXPECT_EQ(cleared["written_bytes"], 4);
    EXPECT_EQ(tessit_json({"program", file("0f.bin", "\x0F") + "@0x1000"})["pages_erased"], 1);
    EXPECT_THAT(tessit({"program", path("f0.bin") + "@0x1000"}).output, HasSubstr("1 page erased"));
}

TEST_F(ProgramTest, AnImageOfTheWholeFlashIsErasedAtOnceUnlessTheUicrWouldBeLost)
{
    const std::string whole = binary("whole.bin", std::size_t{512} * 1024) + "@0";
    EXPECT_EQ(tessit_json({"program", whole})["erased_all"], true);
    ASSERT_THAT(tessit({"write", "0x10001080", "0x12345678", "--flash"}), Exits(0));
    const std::string other = binary("other.bin", std::size_t{512} * 1024, 2) + "@0";
    EXPECT_EQ(tessit_json({"program", other})["erased_all"], false);
    EXPECT_EQ(memory("0x10001080+4"), "78563412");
    EXPECT_THAT(tessit({"verify", other}), Exits(0));
}

TEST_F(ProgramTest, EraseNoneRefusesWhatNeedsAnErase)
{
    ASSERT_THAT(tessit({"program", file("a.bin", "\x0F") + "@0x100", "--erase", "none"}), Exits(0));
    EXPECT_THAT(tessit({"program", file("b.bin", "\xF0") + "@0x100", "--erase", "none"}), FailsWith(1, "0x00000100"));
    EXPECT_EQ(memory("0x100+1"), "0f");
}

TEST_F(ProgramTest, EraseAllClearsTheRestAndTheUicr)
{
    ASSERT_THAT(tessit({"program", binary("a.bin", 64) + "@0x8000"}), Exits(0));
    ASSERT_THAT(tessit({"write", "0x10001080", "0", "--flash"}), Exits(0));
    ASSERT_THAT(tessit({"program", hex(), "--erase", "all"}), Exits(0));
    EXPECT_EQ(memory("0x8000+4"), "ffffffff");
    EXPECT_EQ(memory("0x10001080+4"), "ffffffff");
    EXPECT_EQ(memory("0x10+4"), "01020304");
}

TEST_F(ProgramTest, UicrDataIsWrittenAndNeverErasedUnasked)
{
    const std::string first = file("a.bin", "\x0F\xFF\xFF\xFF") + "@0x10001080";
    const std::string second = file("b.bin", "\xF0\xFF\xFF\xFF") + "@0x10001080";
    ASSERT_THAT(tessit({"program", first, hex()}), Exits(0));
    EXPECT_THAT(tessit({"program", second}), FailsWith(1, "0x10001080"));
    EXPECT_EQ(memory("0x10001080+4"), "0fffffff");
    EXPECT_THAT(tessit({"program", second, "--erase", "all"}), Exits(0));
    EXPECT_EQ(memory("0x10001080+4"), "f0ffffff");
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
    const Outcome locked = tessit({"program", firmware, hex(), "--allow-protect", "--reset"});
    EXPECT_THAT(locked, Exits(0));
    EXPECT_THAT(locked.output, HasSubstr("protected from now on"));
    EXPECT_THAT(tessit({"read", "0+4"}), FailsWith(5, "protected"));
}

TEST_F(ProgramTest, BlockProtectionIsLiftedWhereItStandsInTheWay)
{
    const std::string image = binary("image.bin", 0x2800) + "@0";
    const Arguments verbs[] = {{"erase", "--page", "0"}, {"erase", "--range", "0+8k"}, {"erase", "--all"},
                               {"erase", "--mass"},      {"recover", "--yes"},         {"program", image}};
    for (const std::string version : {"BIRCH_M1_VB_REV1", "BIRCH_M2_VA_REV1"}) {
        for (const std::string fill : {"0x5A", "0xFF"}) { // what is blank takes no writes either
            std::string chip = "[[probe]]\nserial = 600000011\n[probe.chip]\nprotected_blocks = [0, 1]\n";
            chip.append("version = \"").append(version).append("\"\nflash_fill = ").append(fill).append("\n");
            set_bench(chip);
            for (const Arguments& arguments : verbs) {
                SCOPED_TRACE(chip + testing::PrintToString(arguments));
                std::filesystem::remove_all(path("bench.toml.state"));
                const Outcome outcome = tessit(arguments);
                EXPECT_THAT(outcome, Exits(0));
                if (arguments[0] == "program") {
                    EXPECT_THAT(tessit({"verify", image}), Exits(0));
                } else {
                    EXPECT_EQ(memory("0+0x1000"), std::string(std::size_t{2} * 0x1000, 'f'));
                }
                // Recovery resets the chip before it erases, which is enough for some chips.
                const bool was_in_the_way = take_records().find("flash-block-protected") != std::string::npos;
                const bool was_blank = fill == "0xFF" && arguments[0] != "program";
                if (was_in_the_way && !was_blank) {
                    EXPECT_THAT(outcome.errors, HasSubstr("lifting the block protection"));
                }
            }
        }
    }
}

TEST_F(ProgramTest, WhatDoesNotFitTheChipIsRefusedBeforeAnythingIsErased)
{
    ASSERT_THAT(tessit({"program", hex()}), Exits(0));
    const std::pair<std::string, const char*> cases[] = {
        {binary("a.bin", 32) + "@0x7FFF0", "0x00080000"},  {binary("b.bin", 4) + "@0x80000", "0x00080000"},
        {binary("c.bin", 4) + "@0x20000000", "RAM"},       {binary("d.bin", 4) + "@0x10000100", "FICR"},
        {binary("e.bin", 0x2000) + "@0x10000800", "FICR"}, {binary("f.bin", 4) + "@0x12000000", "external flash"},
    };
    for (const auto& [firmware, reason] : cases) {
        EXPECT_THAT(tessit({"program", firmware, "--erase", "all"}), FailsWith(2, reason)) << firmware;
    }
    EXPECT_EQ(memory("0x10+4"), "01020304");
}

TEST_F(ProgramTest, BadFilesAreRefusedByFileLineAndReason)
{
    EXPECT_THAT(tessit({"program", file("bad.hex", ":0400100001020304E3\n:00000001FF\n")}),
                FailsWith(1, "bad.hex:1: the checksum is 0xE3 and should be 0xE2"));
    EXPECT_THAT(tessit({"program", file("cut.hex", ":0400100001020304E2\n")}),
                FailsWith(1, "cut.hex:1: the file ends"));
    EXPECT_THAT(tessit({"program", path("none.hex")}), FailsWith(1, "No such file"));
    EXPECT_THAT(tessit({"program", hex(), hex()}), FailsWith(2, "both hold data for 0x00000010"));
    EXPECT_THAT(tessit({"program", hex() + "@0x100"}), FailsWith(2, "holds its own addresses"));
    EXPECT_THAT(tessit({"program"}), FailsWith(2, "FILES"));
}

TEST_F(ProgramTest, VerifyListsTheFirstDifferences)
{
    ASSERT_THAT(tessit({"program", hex()}), Exits(0));
    const Outcome outcome = tessit({"verify", file("b.hex", ":0400100001FF03FFEA\n:00000001FF\n")});
    EXPECT_THAT(outcome, FailsWith(6, "in 2 bytes"));
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("0x00000011  expected 0xff, found 0x02"),
                                      HasSubstr("0x00000013  expected 0xff, found 0x04")));
}

TEST_F(ProgramTest, ResetIsMadeOnlyWhenAsked)
{
    EXPECT_THAT(tessit({"program", hex()}).output, HasSubstr("CPU is halted"));
    EXPECT_EQ(tessit_json({"info"})["cpu"], "halted");
    EXPECT_THAT(tessit({"program", hex(), "--reset"}).output, HasSubstr("was reset"));
}

TEST_F(ProgramTest, FlashSizesThatTheChipDoesNotTellCanBeGivenByHand)
{
    set_bench("[[probe]]\nserial = 1\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n"
              "ficr = { \"0x010\" = 0xFFFFFFFF, \"0x014\" = 0xFFFFFFFF }\n");
    EXPECT_THAT(tessit({"program", hex()}), FailsWith(1, "--flash-size"));
    EXPECT_THAT(tessit({"program", hex(), "--flash-size", "512k", "--page-size", "4k"}), Exits(0));
    EXPECT_EQ(memory("0x10+4"), "01020304");

    set_bench("[[probe]]\nserial = 2\n[probe.chip]\nversion = \"BIRCH_M1_VA_REV2\"\n");
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
    ASSERT_THAT(tessit({"read", "flash", "-o", path("out.bin")}), Exits(0));
    EXPECT_THAT(tessit({"verify", path("out.hex")}), Exits(0));
    EXPECT_EQ(content("out.bin").substr(0x1000, 0x1100), content("app.bin"));
    EXPECT_EQ(content("out.bin").size(), 512 * 1024);

    EXPECT_THAT(tessit({"read", "0+16", "-o", path("out.elf")}), FailsWith(2, "ending"));
    std::filesystem::create_symlink("/dev/full", path("full.bin"));
    EXPECT_THAT(tessit({"read", "flash", "-o", path("full.bin")}), FailsWith(1, "No space left"));
    EXPECT_THAT(tessit({"read", "0+16", "-o", path("none/out.bin")}), FailsWith(1, "there is no folder"));
}

TEST_F(ProgramTest, RefusalsLeaveTheFirmwareRunning)
{
    program_endless_loop();
    EXPECT_THAT(tessit({"program", binary("a.bin", 4) + "@0x80000"}), Exits(2));
    EXPECT_EQ(tessit_json({"info"})["cpu"], "running");
    EXPECT_THAT(tessit({"verify", hex()}), Exits(6));
    EXPECT_EQ(tessit_json({"info"})["cpu"], "running");
}

} // namespace
} // namespace tessit::cli
