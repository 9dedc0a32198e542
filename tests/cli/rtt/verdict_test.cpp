// What the firmware says, in pieces, and what is made of it.
#include "cli/rtt/verdict.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace tessit::cli {
namespace {

Words text(const char* words)
{
    return Words::of_text(words, "--until");
}

Words regex(const char* words)
{
    return Words::of_regex(words, "--until-regex");
}

struct Case
{
    std::vector<Words> until;
    const char* stream;
    bool in_order;
    bool comes;         ///< with what was said so far
    bool comes_settled; ///< with a line that has no end, too
};

TEST(VerdictTest, FindsWordsHoweverTheyAreCut)
{
    const Case cases[] = {
        {{text("aabaac")}, "xaabaabaacx", false, true, true},
        {{text("aabaad")}, "xaabaabaacx", false, false, false},
        {{text("one\ntwo")}, "one\ntwo", false, true, true},
        {{regex("^n: [0-9]+$")}, "n: 1\r\n", false, true, true},
        {{regex("^n: [0-9]+$")}, "an: 1\nn: 1", false, false, true},
        {{regex("a.b")}, "a\nb\n", false, false, false},
        {{text("b"), text("a")}, "a b", false, true, true},
        {{text("b"), text("a")}, "a b", true, false, false},
        {{text("a"), text("a")}, "xax", true, false, false},
        {{text("a"), text("a")}, "aa", true, true, true},
        {{text("a\n"), regex("^b$"), text("c")}, "a\nb\nc", true, true, true},
        {{text("a"), regex("^b"), text("c")}, "ab\nc", true, false, false},
        {{regex("a"), text("b")}, "ab", true, false, true},
    };
    for (const Case& each : cases) {
        const std::string_view stream{each.stream};
        VerdictOptions options;
        options.until = each.until;
        options.in_order = each.in_order;
        for (std::size_t first = 0; first <= stream.size(); ++first) {
            for (std::size_t second = first; second <= stream.size(); ++second) {
                Verdict verdict{options, 1};
                verdict.take(0, stream.substr(0, first));
                verdict.take(0, stream.substr(first, second - first));
                verdict.take(0, stream.substr(second));
                EXPECT_EQ(verdict.is_reached(), each.comes) << stream << first << ", " << second;
                verdict.settle();
                EXPECT_EQ(verdict.is_reached(), each.comes_settled) << stream << first << ", " << second;
            }
        }
    }
}

TEST(VerdictTest, AnExitCodeIsTheFirmwaresOwnWhereAProcessCanEndWithIt)
{
    const std::tuple<const char*, int, bool> cases[] = {{"0", 0, false},   {"7", 7, true},   {"255", 255, true},
                                                        {"256", 9, false}, {"-1", 9, false}, {"x", 9, false}};
    VerdictOptions options;
    options.exit_code_from = regex("exit: (.*)");
    for (const auto& [code, exit_code, is_own] : cases) {
        Verdict verdict{options, 2};
        verdict.take(1, std::string{"exit: "} + code + "\n");
        ASSERT_TRUE(verdict.is_reached());
        try {
            verdict.end_by_words();
            EXPECT_EQ(exit_code, 0) << code;
        } catch (const Failure& failure) {
            EXPECT_EQ(static_cast<int>(failure.code()), exit_code) << code;
            EXPECT_EQ(failure.is_firmware_exit(), is_own) << code;
        }
    }
}

} // namespace
} // namespace tessit::cli
