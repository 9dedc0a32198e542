/// The command line as a whole: parses it, prints the help, and refuses what it cannot understand.
#pragma once

#include "cli/options/verb.h"

#include <memory>
#include <string>

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

    /// The verbs that were recognised: "qspi write". Empty when there was none.
    std::string command() const;

private:
    std::unique_ptr<CLI::App> app_;
};

} // namespace tessit::cli
