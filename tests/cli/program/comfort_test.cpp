// What helps somebody who types: help, suggestions, completion, the log.
#include "tests/cli/program/bench_fixture.h"

#include <sstream>

namespace tessit::cli {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;

using ComfortTest = BenchTest;

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(ComfortTest, EveryVerbHasHelpThatFitsWithTwoExamples)
{
    const std::vector<std::string> words = lines_of(tessit({"completion", "words"}).output);
    EXPECT_THAT(words, Contains("completion"));
    for (const std::string& word : words) {
        if (word.starts_with('-')) {
            continue;
        }
        const Outcome help = run_command({"help", word}, environment());
        EXPECT_THAT(help, Exits(0)) << word;
        EXPECT_EQ(help.output, run_command({word, "--help"}, environment()).output);
        EXPECT_THAT(help.output,
                    MatchesRegex("(.|\n)*Examples:\n  tessit .*\n  tessit .*\n\n.*\n  --version --help(.|\n)*"));
        for (const std::string& line : lines_of(help.output)) {
            EXPECT_LE(line.size(), 100) << word;
        }
    }
    EXPECT_THAT(run_command({"help"}, environment()).output, HasSubstr("Commands:"));
}

TEST_F(ComfortTest, AMistypedWordHasASuggestionWhereOneIsNear)
{
    const std::pair<Arguments, const char*> cases[] = {
        {{"progam"}, "Hint: Did you mean `program`? Commands are: "},
        {{"help", "recovr"}, "Did you mean `recover`?"},
        {{"program", "--rest", "x.hex"}, "Did you mean `--reset`? `tessit program --help`"},
        {{"list", "--verbos"}, "Did you mean `--verbose`?"},
        {{"sim", "sho"}, "Did you mean `show`?"},
        {{"xyzzy"}, "Hint: Commands are: "},
    };
    for (const auto& [arguments, hint] : cases) {
        EXPECT_THAT(run_command(arguments, environment()), FailsWith(2, hint));
    }
}

TEST_F(ComfortTest, AShellCompletesVerbsOptionsAndSerialNumbers)
{
    const std::string script =
        file("completion.bash",
             tessit({"completion", "bash"}).output +
                 "tessit() { \"" TESSIT_COMMAND "\" \"$@\"; }\n"
                 "try() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _tessit; echo \"${COMPREPLY[@]}\"; }\n"
                 "export JLINKARM_SIM_BENCH=" +
                 path("bench.toml") +
                 "\ntry tessit --sim --probe 6; try tessit run --fail; try tessit sim rec; try tessit rea\n");
    ASSERT_EQ(std::system(("bash " + script + " > " + path("completed")).c_str()), 0);
    EXPECT_EQ(content("completed"), "600000011\n--fail-on\nrecords\nread\n");
}

TEST_F(ComfortTest, ALogIsAppendedToWithTimeAndProbeAndFolded)
{
    const Arguments many_pages{"--log", path("{serial}.log"), "read", "flash", "-o", path("flash.bin")};
    ASSERT_THAT(tessit(many_pages), Exits(0));
    const std::vector<std::string> first = lines_of(content("600000011.log"));
    EXPECT_THAT(first, Contains(MatchesRegex("[-0-9]+T[:.0-9]+ 600000011 Birch_connect_to_emu_with_snr")));
    EXPECT_THAT(first,
                Contains(MatchesRegex(".* 600000011 \\.\\.\\. the last [0-9]+ lines again, [0-9]+ lines in all")));
    ASSERT_THAT(tessit(many_pages), Exits(0));
    EXPECT_EQ(lines_of(content("600000011.log")).size(), 2 * first.size());
}

TEST_F(ComfortTest, QuietLeavesResultsAndErrors)
{
    const Outcome outcome = tessit({"-q", "program", binary("app.bin", 4096) + "@0"});
    EXPECT_THAT(outcome, Exits(0));
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("Programmed 4 KiB"));
    EXPECT_THAT(tessit({"-q", "verify", binary("other.bin", 16, 2) + "@0"}), FailsWith(6, "differs"));
    EXPECT_EQ(tessit({"-q", "--all-probes", "erase", "--page", "0"}).errors, "");
    EXPECT_THAT(tessit({"-q", "-v", "list"}), FailsWith(2, "do not go together"));
}

} // namespace
} // namespace tessit::cli
