#include "cli/app/application.h"

#include "cli/app/settings.h"
#include "cli/commands/command.h"
#include "cli/platform/platform.h"
#include "cli/sim/bench.h"
#include "cli/terminal/stream.h"

#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* description =
    "Programs, erases, inspects, protects, recovers and debugs Birch microcontrollers over a J-Link probe.";

constexpr const char* footer =
    "Examples:\n"
    "  tessit list\n"
    "  tessit program app.hex --reset\n"
    "  tessit --probe 1234 read 0x0+256\n"
    "  tessit --sim program boot.hex app.bin@0x20000\n"
    "\n"
    "`tessit VERB --help` explains a verb. Exit codes: 0 done, 1 failure, 2 usage, 3 no probe,\n"
    "4 no target or low voltage, 5 protected, 6 verify mismatch, 7 some of several probes failed,\n"
    "130 interrupted.";

// Where the help of a command line that could not be parsed is found: the verb that was recognised last.
std::string help_line(const CLI::App& app)
{
    std::string line = "tessit";
    for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
        command = command->get_subcommands().front();
        line += " " + command->get_name();
    }
    return fmt::format("`{} --help` shows what is possible.", line);
}

[[noreturn]] void refuse(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> rest = app.remaining();
    const auto verb = std::ranges::find_if(rest, [](const std::string& word) { return !word.starts_with('-'); });
    if (!app.get_subcommands().empty() || verb == rest.end()) {
        throw Failure{ExitCode::usage, error.what(), help_line(app)};
    }
    std::vector<std::string> verbs;
    for (const CLI::App* const command : app.get_subcommands({})) {
        verbs.push_back(command->get_name());
    }
    throw Failure{ExitCode::usage, fmt::format("there is no command '{}'", *verb),
                  fmt::format("Commands are: {}.", fmt::join(verbs, ", "))};
}

// Whether there is something to run; false after help and version.
bool parse(CLI::App& app, int argc, const char* const* argv)
{
    if (argc < 2) {
        print_to(stderr, "{}", app.help());
        throw Failure{ExitCode::usage, "a verb is missing", "For example: tessit list"};
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        app.exit(success);
        return false;
    } catch (const CLI::ParseError& error) {
        refuse(app, error);
    }
    return true;
}

ExitCode run_command(const std::vector<Command>& commands, const Invocation& invocation)
{
    const auto command = std::ranges::find_if(commands, [](const Command& each) { return each.app->parsed(); });
    const ExitCode code = command->run(invocation);
    // Ctrl-C in a call that could not be cut short.
    if (code == ExitCode::done && platform::is_interrupted()) {
        throw Failure{ExitCode::interrupted, "interrupted; what was begun was finished"};
    }
    return code;
}

// A result that could not be written must not look like success.
ExitCode flush_output(ExitCode code)
{
    const bool failed = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
    if (!failed || code != ExitCode::done) {
        return code;
    }
    if (errno != EPIPE) { // the reader has seen enough
        print_to(stderr, "Error: cannot write to standard output: {}\n", std::strerror(errno));
    }
    return ExitCode::failure;
}

} // namespace

int run_application(int argc, const char* const* argv)
{
    platform::catch_interrupts();
    Settings settings;
    CLI::App app{description, "tessit"};
    app.set_version_flag("--version", "tessit " TESSIT_VERSION);
    app.fallthrough();
    app.require_subcommand(1);
    add_global_options(app, settings);
    const std::vector<Command> commands = add_all_commands(app);
    app.footer(footer); // after the commands, which would take it over

    ExitCode code = ExitCode::done;
    const auto console = [&settings] { return Console{{settings.json, settings.verbose, settings.yes}}; };
    try {
        if (parse(app, argc, argv)) {
            complete_settings(app, settings);
            if (settings.simulated) {
                Bench{}.open();
            }
            code = run_command(commands, {settings, console()});
        }
    } catch (const Failure& failure) {
        console().report(failure);
        code = failure.code();
    } catch (const std::exception& error) {
        console().report({ExitCode::failure, error.what()});
        code = ExitCode::failure;
    }
    return static_cast<int>(flush_output(code));
}

} // namespace tessit::cli
