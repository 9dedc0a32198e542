#include "tests/sim/cpu/board.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <vector>

namespace jlinksim {
namespace {

/// Made by predict_trace.py from the disassembly.
std::vector<std::uint32_t> predicted(const std::string& program)
{
    std::ifstream file{std::string{TRACE_FOLDER} + "/" + program + ".trace"};
    file >> std::hex;
    return {std::istream_iterator<std::uint32_t>{file}, {}};
}

class Stepping : public testing::TestWithParam<const char*>, public Board
{
};

TEST_P(Stepping, VisitsTheAddressesThatTheDisassemblyPredicts)
{
    const std::vector<std::uint32_t> expected = predicted(GetParam());
    ASSERT_GE(expected.size(), 400);
    load(std::string{GetParam()} + ".bin");
    std::vector<std::uint32_t> visited;
    for (std::size_t step = 0; step < expected.size(); ++step) {
        visited.push_back(pc());
        ASSERT_EQ(cpu.run(1).instructions, 1) << "step " << step;
    }
    EXPECT_EQ(visited, expected);
}

TEST_P(Stepping, EndsWhereOneRunEnds)
{
    const std::vector<std::uint32_t> expected = predicted(GetParam());
    for (std::size_t steps = 1; steps < expected.size(); steps += 7) {
        load(std::string{GetParam()} + ".bin");
        cpu.run(steps);
        ASSERT_EQ(pc(), expected[steps]) << steps << " instructions";
    }
}

INSTANTIATE_TEST_SUITE_P(Programs, Stepping, testing::Values("counter", "rtt_echo_tiny"),
                         [](const auto& program) { return std::string{program.param}; });

} // namespace
} // namespace jlinksim
