/// A command of the command line: a verb with its options, and what it does.
#pragma once

#include "cli/options/command_line.h"
#include "cli/options/settings.h"
#include "cli/options/verb.h"
#include "cli/terminal/console.h"

#include <functional>

namespace tessit::cli {

struct Invocation
{
    const Settings& settings;
    const Console& console;
    const CommandLine& command_line;
};

struct Command
{
    Verb verb;
    std::function<ExitCode(const Invocation&)> run;
};

/// Each verb is declared here, defined in the file of its name, and listed in all_commands.cpp.
Command add_ap(const Verb& root);
Command add_completion(const Verb& root);
Command add_dp(const Verb& root);
Command add_erase(const Verb& root);
Command add_go(const Verb& root);
Command add_halt(const Verb& root);
Command add_info(const Verb& root);
Command add_list(const Verb& root);
Command add_manual(const Verb& root);
Command add_program(const Verb& root);
Command add_protect(const Verb& root);
Command add_qspi(const Verb& root);
Command add_ram(const Verb& root);
Command add_read(const Verb& root);
Command add_recover(const Verb& root);
Command add_reg(const Verb& root);
Command add_reset(const Verb& root);
Command add_rtt(const Verb& root);
Command add_run(const Verb& root);
Command add_sim(const Verb& root);
Command add_step(const Verb& root);
Command add_verify(const Verb& root);
Command add_write(const Verb& root);

std::vector<Command> add_all_commands(const Verb& root);

} // namespace tessit::cli
