/// A test that runs the command on a bench of its own.
#pragma once

#include "tests/cli/program/command_runner.h"
#include "tests/support/temp_folder.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace tessit::cli {

/// The bench has the one probe 600000011 with a BIRCH_M1_VA_REV2 chip (512 KiB of flash, pages of 4 KiB) unless
/// set_bench says otherwise. What a real chip would have ignored without telling the command fails the test.
class BenchTest : public testing::Test
{
protected:
    BenchTest();
    ~BenchTest() override;

    void set_bench(std::string_view toml);
    /// The probe 600000011 alone, with this chip and what else is to stand in its table.
    void set_chip(const std::string& version, const std::string& lines = "");

    static Arguments join(Arguments first, const Arguments& second)
    {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    /// `tessit --sim ARGUMENTS`.
    Outcome tessit(const Arguments& arguments, const Environment& extra = {},
                   const std::string& input = no_input) const;
    /// Of a command that ends with this exit code.
    nlohmann::json tessit_json(const Arguments& arguments, int exit_code = 0) const;
    Environment environment(const Environment& extra = {}) const;

    /// A raw binary of this length whose content depends on the seed; returns its path.
    std::string binary(std::string_view name, std::size_t length, std::uint32_t seed = 1) const;
    std::string file(std::string_view name, std::string_view content) const;
    std::string path(std::string_view name) const { return (folder_.path() / name).string(); }
    std::string content(std::string_view name) const { return folder_.read(name); }

    /// Programs firmware with its reset vector at 0x200: movs r0, #1; adds r0, #2; b . and its stack at 0x20001000.
    void program_endless_loop() const;

    /// What the simulation recorded so far, which is then expected no more.
    std::string take_records() const;

    /// What the CPU does, as another process sees it.
    std::string cpu() const;
    /// Memory as another process reads it, two digits a byte.
    std::string memory(const std::string& range) const;

private:
    tessit_test::TempFolder folder_;
};

/// Matches an outcome by its exit code and what its errors hold.
MATCHER_P(Exits, code, "")
{
    return arg.exit_code == code;
}

MATCHER_P2(FailsWith, code, text, "")
{
    return arg.exit_code == code && testing::Matches(testing::HasSubstr(text))(arg.errors) &&
           testing::Matches(testing::HasSubstr("Hint: "))(arg.errors);
}

} // namespace tessit::cli
