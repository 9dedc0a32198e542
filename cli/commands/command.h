/// A command of the command line: a verb with its options, and what it does.
#pragma once

#include "cli/app/settings.h"
#include "cli/terminal/console.h"

#include <CLI/App.hpp>
#include <functional>

namespace tessit::cli {

struct Invocation
{
    const Settings& settings;
    const Console& console;
};

struct Command
{
    CLI::App* app; ///< is parsed when this command was given
    std::function<ExitCode(const Invocation&)> run;
};

/// A text option that is parsed by `parse` while the command line is read, so that a bad value is a usage error.
template <typename Parse>
CLI::Option* add_parsed(CLI::App& app, const std::string& name, Parse parse, const std::string& help,
                        const std::string& type_name)
{
    return app.add_option_function<std::string>(name, parse, help)->option_text(type_name);
}

/// Each verb is declared here, defined in the file of its name, and listed in all_commands.cpp.
Command add_ap(CLI::App& app);
Command add_dp(CLI::App& app);
Command add_erase(CLI::App& app);
Command add_go(CLI::App& app);
Command add_halt(CLI::App& app);
Command add_info(CLI::App& app);
Command add_list(CLI::App& app);
Command add_program(CLI::App& app);
Command add_protect(CLI::App& app);
Command add_qspi(CLI::App& app);
Command add_ram(CLI::App& app);
Command add_read(CLI::App& app);
Command add_recover(CLI::App& app);
Command add_reg(CLI::App& app);
Command add_reset(CLI::App& app);
Command add_rtt(CLI::App& app);
Command add_run(CLI::App& app);
Command add_sim(CLI::App& app);
Command add_step(CLI::App& app);
Command add_verify(CLI::App& app);
Command add_write(CLI::App& app);

std::vector<Command> add_all_commands(CLI::App& app);

} // namespace tessit::cli
