#include "tests/support/temp_bench.h"

#include "jlinkarm_sim.h"

#include <algorithm>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace tessit_test {
namespace {

/// The names that a shared library offers, by the binutils' listing of its dynamic symbols.
std::vector<std::string> exported_names(const std::string& library)
{
    const std::string command = "nm --dynamic --defined-only --format=just-symbols " + library;
    const auto close = [](FILE* pipe) { ::pclose(pipe); };
    const std::unique_ptr<FILE, decltype(close)> pipe{::popen(command.c_str(), "r"), close};
    std::vector<std::string> names;
    char line[256];
    while (pipe != nullptr && std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        names.emplace_back(line, std::string_view{line}.find_last_not_of('\n') + 1);
    }
    return names;
}

TEST(Exports, areTheJLinkAndTheControlFunctionsOnly)
{
    std::vector<std::string> names = exported_names(SIM_LIBRARY);
    std::erase_if(names, [](const std::string& name) { return name.starts_with("JLINKSIM_"); });
    EXPECT_EQ(names.size(), 38U);
    EXPECT_THAT(names, testing::Each(testing::AnyOf(testing::StartsWith("JLINKARM_"), testing::StartsWith("JLINK_"))));

    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
    for (const std::string& name : names) {
        jlinksim_fault_t fault{};
        fault.function = name.c_str();
        fault.occurrence = 1;
        EXPECT_EQ(JLINKSIM_inject_fault(&fault), 0) << "no fault can be ordered for " << name;
    }
}

} // namespace
} // namespace tessit_test
