#include "cli/app/application.h"

#include "cli/commands/command.h"
#include "cli/options/command_line.h"
#include "cli/platform/platform.h"
#include "cli/sim/bench.h"
#include "cli/sim/bench_choice.h"
#include "cli/terminal/stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

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
    "`tessit help VERB` explains a verb. Exit codes: 0 done, 1 failure, 2 usage, 3 no probe,\n"
    "4 no target or low voltage, 5 protected, 6 verify mismatch, 7 some of several probes failed,\n"
    "8 the probe is in use, 9 a verdict against the firmware, 130 interrupted.";

ExitCode run_command(const std::vector<Command>& commands, const Invocation& invocation)
{
    const auto command = std::ranges::find_if(commands, [](const Command& each) { return each.verb.is_chosen(); });
    const ExitCode code = command->run(invocation);
    // Ctrl-C in a call that could not be cut short.
    if (code == ExitCode::done && platform::is_interrupted()) {
        invocation.console.report_line({ExitCode::interrupted, "interrupted; what was begun was finished"});
        return ExitCode::interrupted;
    }
    return code;
}

// --sim is never implied, and `sim` works on the bench by its nature.
void require_simulation(const Settings& settings, const std::string& command)
{
    const bool is_simulated = settings.simulated || command.starts_with("sim ");
    if (!is_simulated && (!settings.bench.empty() || settings.fresh || settings.strict)) {
        throw Failure{ExitCode::usage, "--bench, --fresh and --strict are for the simulated bench",
                      "Add --sim, or leave them away."};
    }
}

ExitCode tell_records(const Bench& bench, const Console& console, ExitCode code)
{
    const std::vector<std::string> records = bench.records();
    for (const std::string& record : records) {
        console.remark("Record: " + record);
    }
    return code == ExitCode::done && !records.empty() ? ExitCode::verdict : code;
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

// Also where the rest of the command line cannot be understood.
bool asks_for_json(std::span<const char* const> words)
{
    const auto end = std::ranges::find(words, std::string_view{"--"});
    return std::find(words.begin(), end, std::string_view{"--json"}) != end;
}

} // namespace

int run_application(int argc, const char* const* argv)
{
    platform::ignore_closed_pipes();
    Settings settings;
    settings.json = asks_for_json({argv, static_cast<std::size_t>(argc)});
    CommandLine command_line{description, TESSIT_VERSION};
    const Verb root = command_line.root();
    root.require_verb();
    add_global_options(root, settings);
    const std::vector<Command> commands = add_all_commands(root);
    root.footer(footer); // after the commands, which would take it over

    ExitCode code = ExitCode::done;
    std::optional<BenchChoice> choice;
    std::optional<Bench> bench; // keeps the simulation loaded until the command is done
    Console console{Console::Options{.json = settings.json}};
    try {
        const bool goes_on = command_line.parse(argc, argv);
        console = Console{{settings.json, settings.verbose, settings.yes, settings.events, settings.quiet}};
        console.at_command(command_line.command());
        if (goes_on) {
            complete_settings(root, settings);
            require_simulation(settings, command_line.command());
            choice.emplace(settings);
            if (settings.simulated) {
                bench.emplace().open();
            }
            code = run_command(commands, {settings, console, command_line});
        }
    } catch (const Failure& failure) {
        console.at_command(command_line.command());
        console.report(failure);
        code = failure.code();
    } catch (const std::exception& error) {
        console.report({ExitCode::failure, error.what()});
        code = ExitCode::failure;
    }
    if (bench && settings.strict) {
        code = tell_records(*bench, console, code);
    }
    return static_cast<int>(flush_output(code));
}

} // namespace tessit::cli
