/// The command line as a whole: parses it, prints the help, and refuses what it cannot understand.
#pragma once

#include "cli/options/verb.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

class CommandLine
{
public:
    CommandLine(const std::string& description, const std::string& version);
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;
    ~CommandLine();

    /// To which options and verbs are added.
    Verb root() const;

    /// False when help or version were asked for, which are printed then. Throws a Failure with ExitCode::usage.
    bool parse(int argc, const char* const* argv);

    /// What a word may be that begins so and follows these.
    std::vector<std::string> candidates(std::span<const std::string> words, const std::string& begun) const;

    /// The option whose value follows these words; empty where none does.
    std::string awaiting_value(std::span<const std::string> words) const;

    /// The manual page, as `man` reads it.
    std::string manual() const;

    /// The verbs that were recognised: "qspi write". Empty when there was none.
    std::string command() const;

    /// The command line as it was understood, with what the environment and the config file added to it, so that it can
    /// be given again; without the program's name and the options of these names.
    std::vector<std::string> words(std::span<const std::string_view> without) const;

private:
    std::unique_ptr<CLI::App> app_;
};

} // namespace tessit::cli
