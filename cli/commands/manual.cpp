#include "cli/commands/command.h"

namespace tessit::cli {
namespace {

ExitCode run(const Invocation& invocation)
{
    const std::string page = invocation.command_line.manual();
    invocation.console.show(page, {{"page", page}});
    return ExitCode::done;
}

} // namespace

Command add_manual(const Verb& root)
{
    return {root.verb("manual", "Print the manual page, for `man`"), &run};
}

} // namespace tessit::cli
