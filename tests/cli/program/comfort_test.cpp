// What helps somebody who types: help, suggestions, completion, the log.
#include "tests/cli/program/bench_fixture.h"

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <iterator>
#include <sstream>

namespace tessit::cli {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

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

// Whether the command line is understood; what it would do then fails for want of a J-Link library or a file.
void expect_is_understood(const std::string& example, const Environment& environment)
{
    std::istringstream stream{example.substr(0, example.find_first_of("|>"))};
    Arguments words{"--jlink", "/there/is/none"};
    for (std::string word; stream >> std::quoted(word, '\'');) {
        words.push_back(word);
    }
    EXPECT_THAT(run_command(words, environment).errors, Not(HasSubstr("--help` shows what is possible"))) << example;
}

TEST_F(ComfortTest, EveryVerbHasHelpThatFitsWithTwoExamples)
{
    const std::vector<std::string> names = lines_of(tessit({"completion", "words"}).output);
    EXPECT_THAT(names, Contains("completion"));
    std::vector<Arguments> verbs;
    for (const std::string& name : names) {
        verbs.push_back({name});
        const std::vector<std::string> below = lines_of(tessit({"completion", "words", "--", name, ""}).output);
        std::ranges::transform(below, std::back_inserter(verbs), [&name](const std::string& each) {
            return Arguments{name, each};
        });
    }
    std::erase_if(verbs, [](const Arguments& verb) { return verb.front() == "completion" && verb.size() > 1; });
    for (Arguments verb : verbs) {
        verb.insert(verb.begin(), "help");
        const Outcome help = run_command(verb, environment());
        ASSERT_THAT(help, Exits(0)) << testing::PrintToString(verb);
        EXPECT_THAT(help.output,
                    MatchesRegex("(.|\n)*Examples:\n  tessit .*\n  tessit .*\n\n.*\n  --version --help(.|\n)*"));
        for (const std::string& line : lines_of(help.output)) {
            EXPECT_LE(line.size(), 100) << line;
            if (line.starts_with("  tessit ")) {
                expect_is_understood(line.substr(9), environment());
            }
        }
    }
    EXPECT_EQ(run_command({"help", "run"}, environment()).output, run_command({"run", "--help"}, environment()).output);
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

// What each shell makes of its script: bash and zsh by what their completion hands to it, fish by itself.
TEST_F(ComfortTest, ShellsCompleteVerbsOptionsChoicesAndSerialNumbers)
{
    file("words.bash", tessit({"completion", "bash"}).output +
                           "try() { COMP_WORDS=(tessit \"$@\"); COMP_CWORD=$#; _tessit; echo \"${COMPREPLY[@]}\"; }\n");
    file("words.zsh", "try() { words=(tessit \"$@\"); CURRENT=$#words; . " +
                          file("_tessit", tessit({"completion", "zsh"}).output) +
                          "; }\n"
                          "compadd() { echo ${(M)candidates:#$words[CURRENT]*} }\n"
                          "_files() { echo }\n");
    file("words.fish", tessit({"completion", "fish"}).output +
                           "function try; echo (complete -C \"tessit $argv\"); end\n"
                           "function __fish_complete_path; end\n");
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        const std::string script = file(
            "try." + shell, ". " + path("words." + shell) +
                                "\ntry --sim --probe 6; try run --fail; try sim rec; try rea; try program no.hex"
                                "\ntry program --loader o; try program --loader=on; try erase --all -- --; true\n");
        std::string command = "PATH=" + path("") + ":$PATH JLINKARM_SIM_BENCH=" + path("bench.toml");
        command.append(" ").append(shell).append(" ").append(script).append(" > ").append(path("completed"));
        std::filesystem::remove(path("tessit"));
        std::filesystem::create_symlink(TESSIT_COMMAND, path("tessit"));
        ASSERT_EQ(std::system(command.c_str()), 0) << shell;
        EXPECT_EQ(content("completed"), "600000011\n--fail-on\nrecords\nread\n\noff on\n--loader=on\n\n") << shell;
    }
}

TEST_F(ComfortTest, ALogIsAppendedToWithTimeAndProbeAndFolded)
{
    const Arguments many_pages{"--log", path("{serial}.log"), "read", "flash", "-o", path("flash.bin")};
    const Outcome shown = tessit(join({"-v"}, many_pages));
    EXPECT_THAT(shown, Exits(0));
    EXPECT_THAT(shown.errors, HasSubstr(" 600000011 ... the last "));
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
