// Each shared library offers what its header declares, and nothing else, and loads no more than it needs.
#include "src/jlink/functions.h"

#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

namespace tessit_test {
namespace {

using Names = std::set<std::string>;

/// The dynamic symbols that a shared library defines.
Names exported_by(const std::string& library)
{
    Names names;
    const std::string command = "nm --dynamic --defined-only --format=just-symbols '" + library + "'";
    FILE* const listing = ::popen(command.c_str(), "r");
    char line[512];
    while (listing != nullptr && std::fgets(line, sizeof line, listing) != nullptr) {
        names.insert({line, std::string_view{line}.find('\n')});
    }
    EXPECT_EQ(::pclose(listing), 0) << command;
    return names;
}

/// The functions that a header declares: the names between its calling convention and a parenthesis.
Names declared_in(const char* header, const std::string& calling_convention)
{
    std::ifstream file{header};
    Names names;
    for (std::string word; file >> word;) {
        if (word == calling_convention && file >> word && word.find('(') != std::string::npos) {
            names.insert(word.substr(0, word.find('(')));
        }
    }
    return names;
}

TEST(ExportedSymbols, OfTheLibrary)
{
    const Names declared = declared_in(TESSIT_HEADER, "TESSIT_CALL");
    EXPECT_EQ(declared.size(), 67U);
    EXPECT_EQ(exported_by(TESSIT_LIBRARY), declared);
}

#ifdef SIM_LIBRARY
TEST(ExportedSymbols, OfTheSimulationAreTheJLinkFunctionsAndItsOwn)
{
    Names expected = declared_in(SIM_HEADER, "JLINKSIM_CALL");
    EXPECT_FALSE(expected.empty());
#define EXPECT_FUNCTION(result, name, parameters) expected.insert(#name);
    JLINK_FUNCTIONS(EXPECT_FUNCTION)
#undef EXPECT_FUNCTION
    EXPECT_EQ(exported_by(SIM_LIBRARY), expected);
}

TEST(Simulation, loadsNoEngineBeforeACpuExecutes)
{
    void* const simulation = ::dlopen(SIM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(simulation, nullptr);
    std::ifstream loaded{"/proc/self/maps"};
    EXPECT_THAT((std::string{std::istreambuf_iterator<char>{loaded}, {}}),
                testing::AllOf(testing::HasSubstr("libjlinkarm_sim"), testing::Not(testing::HasSubstr("unicorn"))));
    ::dlclose(simulation);
}
#endif

} // namespace
} // namespace tessit_test
