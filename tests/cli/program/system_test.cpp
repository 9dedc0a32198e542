// The command and the operating system: signals, standard streams, files that are special, disks that are full.
#include "tests/cli/program/bench_fixture.h"

#include <csignal>
#include <filesystem>
#include <sys/stat.h>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

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

} // namespace
} // namespace tessit::cli
