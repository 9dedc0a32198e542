// `run`: firmware that tests itself, and the verdict on it; and the options of the bench that such a job needs.
#include "tests/cli/program/bench_fixture.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// What selftest.c may be told to do.
enum Fate
{
    passes,
    fails,
    hangs,
    talks_on,
    faults,
    stops,
    aborts,
    says_code,
    wants_output,
    ends_plainly
};

constexpr const char* said = "memory ... ok\nclock ... ok\n";

class RunTest : public BenchTest
{
protected:
    Arguments run(Fate fate, const Arguments& arguments) const
    {
        const std::string word{static_cast<char>(fate), '\0', '\0', '\0'};
        return join({"run", FIRMWARE_FOLDER "/selftest.bin@0", file("fate.bin", word) + "@0x3000"}, arguments);
    }
    fs::path temporary() const { return path("temporary"); }
    std::vector<fs::path> left_behind() const { return {fs::directory_iterator{temporary()}, {}}; }
};

TEST_F(RunTest, TheVerdictIsTheExitCode)
{
    const Arguments passed{"--until", "passed", "--timeout", "1"};
    const Arguments code{"--exit-code-from", R"(exit: (\d+))", "--timeout", "1"};
    const std::tuple<Fate, Arguments, int, const char*> cases[] = {
        {passes, passed, 0, "Passed: 'passed' came after 1.24 ms"},
        {passes, {}, 0, "Passed: the firmware ended with exit code 0"},
        {passes, {"--until", "never"}, 9, "ended with exit code 0 before 'never' came"},
        {passes, {"--until", "passed", "--fail-on", "never", "--fail-on", "clock"}, 9, "the firmware said 'clock'"},
        {passes, {"--until-regex", "^passed$", "--until", "memory"}, 0, "Passed: "},
        {passes, {"--until-regex", "^pass", "--until", "memory", "--in-order"}, 9, "before 'memory' behind '^pass'"},
        {passes, {"--until", "passed", "--timeout", "0"}, 9, "'passed' did not come within 0 s"},
        {passes, {"--until", "passed", "-o", "/dev/full"}, 1, "cannot write the output /dev/full"},
        {fails, {}, 7, "the firmware ended with exit code 7"},
        {fails, passed, 7, "exit code 7"},
        {hangs, passed, 9, "'passed' did not come within 1 s"},
        {hangs, {"--timeout", "0.1"}, 0, "The firmware ran for 0.1"},
        {talks_on, passed, 0, "Passed"},
        {talks_on, {"--until", "passed", "--until", "passed", "--in-order"}, 0, "Passed"},
        {faults, passed, 9, "in the HardFault handler: it went to an address without memory (IBUSERR)"},
        {faults, {"--timeout", "0.3"}, 9, "in the HardFault handler"},
        {stops, passed, 9, "it is at a breakpoint instruction (BKPT)"},
        {aborts, passed, 9, "the firmware ended itself for the reason 0x20023"},
        {says_code, code, 42, "the firmware ended with exit code 42"},
        {hangs, code, 9, R"(an exit code ('exit: (\d+)') did not come within 1 s)"},
        {wants_output, passed, 9, "it waits for the semihosting call 0x04 (BKPT 0xAB), which is not served"},
        {ends_plainly, {}, 0, "Passed: the firmware ended with exit code 0"},
        {passes, {"--until-regex", "("}, 2, "no regular expression"},
        {passes, {"--until-regex", "x*"}, 2, "would be there at once"},
        {passes, {"--exit-code-from", "exit"}, 2, "no group"},
    };
    for (const auto& [fate, arguments, exit_code, text] : cases) {
        const Outcome outcome = tessit(run(fate, arguments));
        EXPECT_THAT(outcome, Exits(exit_code)) << text;
        EXPECT_THAT(outcome.errors, HasSubstr(text));
        const bool was_stopped_at_once = exit_code == 1 || exit_code == 2 || std::ranges::count(arguments, "0") != 0;
        EXPECT_TRUE(was_stopped_at_once || outcome.output.starts_with(said)) << text << outcome.output;
    }
    EXPECT_THAT(take_records(), HasSubstr("cpu-fault")) << "the firmware's doing";
}

TEST_F(RunTest, TheFirmwaresWordsAreKept)
{
    ASSERT_THAT(tessit(run(passes, {"--output", path("words")})), Exits(0));
    EXPECT_EQ(content("words"), std::string{said} + "passed\n");
}

TEST_F(RunTest, CtrlCEndsItAndAFreshBenchLeavesNothing)
{
    fs::create_directory(temporary());
    const Environment environment_of_job = environment({{"TMPDIR", temporary().string()}});
    RunningCommand command{join({"--sim", "--fresh", "-v", "--progress=json"}, run(hangs, {"--until", "passed"})),
                           environment_of_job};
    ASSERT_TRUE(command.wait_for("Birch_rtt_read\"", 3));
    EXPECT_EQ(left_behind().size(), 1);
    command.signal(SIGINT);
    EXPECT_THAT(command.finish(), Exits(130));
    EXPECT_THAT(left_behind(), IsEmpty());

    // Beside a bench file that it may only read.
    set_chip("BIRCH_M2_VA_REV1");
    const std::string bench = path("bench.toml");
    const Environment no_bench{{"JLINKARM_SIM_BENCH", ""}, {"TMPDIR", temporary().string()}};
    EXPECT_THAT(tessit(join({"--bench", bench, "--fresh"}, run(passes, {})), no_bench), Exits(0));
    EXPECT_THAT(tessit({"--bench", bench, "--fresh", "--all-probes", "info"}, no_bench).output, HasSubstr("BIRCH_M2"));
    EXPECT_THAT(tessit({"--fresh", "list"}, {{"TMPDIR", path("none")}}), FailsWith(1, "cannot make a folder"));
    EXPECT_FALSE(fs::exists(bench + ".state"));
    EXPECT_THAT(left_behind(), IsEmpty());
    EXPECT_THAT(run_command({"--bench", bench, "list"}, environment()), FailsWith(2, "Add --sim"));
}

TEST_F(RunTest, ARecordFailsAStrictCommandAndIsKept)
{
    const Arguments leaves_power_on{"dp", "write", "4", "0x50000000"};
    EXPECT_EQ(tessit({"sim", "records"}).output, "There are no records.\n");
    const Outcome strict = tessit(join({"--strict"}, leaves_power_on));
    EXPECT_THAT(strict, FailsWith(9, "the simulation has 1 record"));
    EXPECT_THAT(strict.errors, HasSubstr("Record: debug-power-left: "));
    EXPECT_THAT(tessit({"--strict", "list"}), Exits(0));
    EXPECT_THAT(tessit({"sim", "records", "--clear"}).output, StartsWith("debug-power-left: "));
    EXPECT_EQ(tessit({"sim", "records"}).output, "There are no records.\n");
    EXPECT_THAT(tessit(join({"--strict"}, run(faults, {"--timeout", "0.3"}))),
                AllOf(FailsWith(9, "HardFault"), FailsWith(9, "Record: cpu-fault: ")));
    take_records();
}

} // namespace
} // namespace tessit::cli
