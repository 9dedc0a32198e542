// The command and the operating system: signals, standard streams, files that are special, disks that are full.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>
#include <filesystem>
#include <sys/stat.h>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;

class SystemTest : public BenchTest
{
protected:
    // The command under a shell, for what it does to the streams; gives the exit code.
    int shell(const std::string& words) const
    {
        const std::string bench = "JLINKARM_SIM_BENCH=" + path("bench.toml") + " ";
        return WEXITSTATUS(std::system((bench + TESSIT_COMMAND + " --sim " + words).c_str()));
    }
};

TEST_F(SystemTest, ASignalEndsACommandThatWaitsForAFile)
{
    const std::string pipe = path("pipe.bin");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Arguments& arguments :
         {Arguments{"--sim", "program", pipe + "@0"}, Arguments{"--sim", "write", "0x20000000", "--file", pipe},
          Arguments{"--sim", "list", "--log", pipe}, Arguments{"list", "--jlink", pipe}}) {
        for (const int signal : {SIGINT, SIGTERM}) {
            RunningCommand command{arguments, environment()};
            command.signal(signal);
            EXPECT_THAT(command.finish(), Exits(128 + signal)) << testing::PrintToString(arguments);
        }
    }
    // With a session open the signal is noted, and the session closed.
    program_endless_loop();
    RunningCommand command{{"--sim", "-v", "read", "0+4", "-o", pipe}, environment()};
    ASSERT_TRUE(command.wait_for(". Birch_go"));
    command.signal(SIGINT);
    const Outcome outcome = command.finish();
    EXPECT_THAT(outcome, Exits(130));
    EXPECT_THAT(outcome.errors, HasSubstr("Birch_close_dll"));
}

TEST_F(SystemTest, NoFileTakesThePlaceOfAStreamThatWasClosed)
{
    EXPECT_EQ(shell("-v read 0+16 -o " + path("out.bin") + " 2>&-"), 0);
    EXPECT_EQ(content("out.bin").size(), 16);
    EXPECT_EQ(shell("list >&- 2>" + path("errors")), 1);
    EXPECT_THAT(content("errors"), HasSubstr("cannot write to standard output"));
    EXPECT_EQ(shell("recover <&- 2>" + path("errors")), 2);
    EXPECT_EQ(shell("list > /dev/full 2>" + path("errors")), 1);
}

TEST_F(SystemTest, AnOutputFileReplacesNothingButItself)
{
    const std::string victim = file("victim", "precious");
    const std::string output = file("out.bin", "old");
    fs::permissions(output, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(victim, output + ".partial");
    fs::create_symlink(output, path("link.bin"));
    EXPECT_THAT(tessit({"read", "0+16", "-o", path("link.bin")}), Exits(0));
    EXPECT_EQ(content("victim"), "precious");
    EXPECT_TRUE(fs::is_symlink(output + ".partial"));
    EXPECT_TRUE(fs::is_symlink(path("link.bin")));
    EXPECT_EQ(content("out.bin").size(), 16);
    EXPECT_EQ(fs::status(output).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SystemTest, FilesWithoutEndAreRefusedByName)
{
    const std::string huge = file("huge.bin", "x");
    fs::resize_file(huge, std::uintmax_t{5} << 30);
    EXPECT_THAT(tessit({"program", huge + "@0"}), FailsWith(1, "huge.bin: has more than"));
    EXPECT_THAT(tessit({"program", "/dev/zero@0"}), FailsWith(1, "/dev/zero: has more than"));
    EXPECT_THAT(tessit({"--config", huge, "list"}), FailsWith(1, "huge.bin: has more than 1 MiB"));
}

TEST_F(SystemTest, ALogThatIsIncompleteMakesAFailureOfASuccess)
{
    const Outcome outcome = tessit({"list", "--log", "/dev/full"});
    EXPECT_THAT(outcome, FailsWith(1, "the log /dev/full is incomplete: No space left"));
    EXPECT_EQ(outcome.output, "600000011\n");
}

// Commands that are cut short: killed, interrupted, or left without their probe. Those that go on by themselves on the
// chip have tests of their own.
class InterruptionTest : public BenchTest
{
protected:
    // Two images that differ everywhere: programming the second erases page by page.
    InterruptionTest()
        : old_{binary("old.bin", length, 1)}, far_{binary("far.bin", 4096, 3)}, new_{binary("new.bin", length, 2)}
    {
    }

    void SetUp() override { ASSERT_THAT(tessit({"program", old_ + "@0", far_ + "@0x7F000"}), Exits(0)); }

    static Arguments program(const std::string& image) { return {"program", image + "@0", "--loader", "off"}; }

    // Caught while it erases: its narration is no longer read, so it cannot go on.
    Outcome stopped_in_the_middle_by(int signal) const
    {
        RunningCommand command{join({"--sim", "-v", "--progress=json"}, program(new_)), environment()};
        EXPECT_TRUE(command.wait_for("Birch_erase_page", 10));
        EXPECT_THAT(tessit({"info"}), FailsWith(8, "in use by another program"));
        command.signal(signal);
        return command.finish();
    }

    static constexpr std::size_t length = std::size_t{40} * 4096;
    std::string old_;
    std::string far_; // elsewhere, or it would be cheaper to erase everything at once
    std::string new_;
};

TEST_F(InterruptionTest, AProgramThatIsCutShortLeavesTheProbeFreeAndTheChipAsFarAsItWas)
{
    EXPECT_THAT(stopped_in_the_middle_by(SIGKILL), Exits(128 + SIGKILL));
    EXPECT_EQ(memory("0+4"), "ffffffff");       // the first page was erased
    EXPECT_NE(memory("0x27000+4"), "ffffffff"); // the last one was not
    const Outcome outcome = stopped_in_the_middle_by(SIGINT);
    EXPECT_THAT(outcome, Exits(130));
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("partly written"), HasSubstr("Birch_close_dll")));
    EXPECT_NE(memory("0x27000+4"), "ffffffff");
    EXPECT_THAT(tessit({"program", new_ + "@0"}), Exits(0));
    EXPECT_THAT(tessit({"verify", new_ + "@0"}), Exits(0));
}

TEST_F(InterruptionTest, APulledCableIsNamedWithTheStateOfTheFlash)
{
    const Outcome outcome = tessit(program(new_), {{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2@unplug"}});
    EXPECT_THAT(outcome,
                FailsWith(3, "the connection to probe 600000011 was lost: JLinkARM.dll WriteMem returned error"));
    EXPECT_THAT(outcome.errors, HasSubstr("partly written"));
    EXPECT_THAT(tessit({"program", new_ + "@0"}), Exits(0));
    EXPECT_THAT(tessit({"verify", new_ + "@0"}), Exits(0));
}

TEST_F(InterruptionTest, AWriteThatTheChipDidNotTakeIsFoundByReadingBack)
{
    const Environment all_lost{{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2=0+0"}};
    EXPECT_THAT(tessit(program(new_), all_lost), FailsWith(6, "differs from what was written"));
    const Environment one_lost{{"JLINKARM_SIM_FAULTS", "JLINKARM_WriteMem#2=0"}};
    EXPECT_THAT(tessit(program(old_), one_lost), Exits(0));
    EXPECT_THAT(tessit({"verify", old_ + "@0"}), Exits(0)) << "it was written again";
    EXPECT_THAT(tessit(join(program(new_), {"--no-verify"}), one_lost), Exits(0));
}

} // namespace
} // namespace tessit::cli
