#include "cli/commands/on_probes.h"

#include "cli/commands/probe_wait.h"
#include "cli/sim/bench.h"
#include "cli/text/lists.h"
#include "cli/text/numbers.h"
#include "cli/text/serial_mark.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <iterator>

namespace tessit::cli {
namespace {

// What a process for one board is told anew, or not at all.
constexpr std::array<std::string_view, 10> not_for_boards{
    "--probe", "--all-probes", "--jobs", "--json", "--progress", "--yes", "--log", "--units", "--record", "--fresh"};

/// What a simulated probe's open refuses may lie in its state, which no cable can mend.
void connect(Session& session, std::uint32_t serial)
{
    try {
        session.connect(serial);
    } catch (const Failure& failure) {
        if (session.settings().simulated && failure.code() != ExitCode::probe_in_use) {
            Bench{}.require_usable(serial);
        }
        throw;
    }
}

// The firmware or the command did what a real chip would not forgive.
void require_no_records()
{
    const std::vector<std::string> records = Bench{}.records();
    if (records.empty()) {
        return;
    }
    throw Failure{
        ExitCode::verdict,
        fmt::format("the simulation has {}, and --strict wants none", format_count(records.size(), "records")),
        "docs/simulation.md tells what the names mean; without --strict they fail nothing."}
        .with(std::make_shared<const Json>(Json{{"records", records}}));
}

Json times(const Stopwatch& stopwatch)
{
    const std::optional<double> modelled = stopwatch.modelled_seconds();
    return {{"seconds", stopwatch.seconds()}, {"modelled_seconds", modelled ? Json(*modelled) : Json()}};
}

// How long it took until it failed.
Failure with_times(const Failure& failure, const Stopwatch& stopwatch)
{
    Json details = failure.details() == nullptr ? Json{} : *failure.details();
    details.append(times(stopwatch));
    return failure.with(std::make_shared<const Json>(std::move(details)));
}

Report run_on(const Console& console, Session& session, std::uint32_t serial, ProbeWait& wait, const ProbeWork& work)
{
    console.at_probe(serial);
    std::optional<Stopwatch> stopwatch;
    wait.until_done([&] {
        stopwatch.emplace(session.clock());
        connect(session, serial);
    });
    try {
        Target target{session};
        Report report = work(target);
        session.disconnect();
        if (session.settings().strict) {
            require_no_records();
        }
        report.json.append(times(*stopwatch));
        return report;
    } catch (const Failure& failure) {
        throw with_times(failure, *stopwatch);
    }
}

ExitCode run_on_one(const Invocation& invocation, const ProbeWork& work, const BoardEnded& ended)
{
    const Console& console = invocation.console;
    Session session{invocation.settings};
    ProbeWait wait{invocation.settings, console};
    Outcome outcome;
    outcome.serial = wait.choose(session).front();
    const auto begin = std::chrono::steady_clock::now();
    const auto end = [&] {
        outcome.seconds = std::chrono::duration<double>{std::chrono::steady_clock::now() - begin}.count();
        if (ended) {
            ended(outcome);
        }
    };
    try {
        Report report = run_on(console, session, outcome.serial, wait, work);
        outcome.report = std::move(report.text);
        outcome.json = std::move(report.json);
    } catch (const Failure& failure) {
        set_failure(outcome, console.to_json(failure));
        end();
        throw;
    }
    end();
    console.show(outcome.report, std::move(outcome.json));
    return session.close(ExitCode::done, console);
}

std::vector<std::uint32_t> choose_several(const Invocation& invocation)
{
    Settings settings = invocation.settings;
    settings.log_file.clear(); // each board has its own
    settings.verbose = false;
    const Session session{settings};
    return ProbeWait{invocation.settings, invocation.console}.choose(session);
}

// The command for one board, as it could be typed.
std::vector<std::string> words_for(const Invocation& invocation, std::uint32_t serial, const LineOptions& options)
{
    const Settings& settings = invocation.settings;
    std::vector<std::string> words{fmt::format("--probe={}", serial), "--json", "--progress=json"};
    if (settings.yes || !options.consequence.empty()) {
        words.emplace_back("--yes");
    }
    if (!settings.log_file.empty()) {
        words.push_back(fmt::format("--log={}", with_serial(settings.log_file, serial)));
    }
    std::ranges::copy(invocation.command_line.words(not_for_boards), std::back_inserter(words));
    if (options.more_words) {
        std::ranges::copy(options.more_words(serial), std::back_inserter(words));
    }
    return words;
}

// Tells whose it is. A report of several lines is set off from the next board's.
std::string set_off(const Outcome& outcome)
{
    const std::string serial = std::to_string(outcome.serial);
    const std::string& text = outcome.report;
    const bool tells_probe = text.empty() || text.find(serial) != std::string::npos;
    return (tells_probe ? "" : fmt::format("Probe {}:\n", serial)) + text +
           (std::ranges::count(text, '\n') > 1 ? "\n" : "");
}

ExitCode summarize(const Console& console, const std::vector<Board>& boards, const LineOptions& options, double seconds)
{
    std::vector<Outcome> outcomes;
    std::ranges::transform(boards, std::back_inserter(outcomes), [](const Board& board) { return board.outcome(); });
    std::string text;
    Json json{{"probes", Json::list()}, {"seconds", seconds}};
    for (const Outcome& outcome : outcomes) {
        text += options.shows_reports ? set_off(outcome) : "";
        json["probes"].push_back(outcome.json);
    }
    console.show(text + summary_table(outcomes), std::move(json));
    return exit_code_of(outcomes);
}

ExitCode run_on_several(const Invocation& invocation, const LineOptions& options)
{
    const auto begin = std::chrono::steady_clock::now();
    require_own_files(invocation.settings, "--log", invocation.settings.log_file);
    const std::vector<std::uint32_t> serials = choose_several(invocation);
    std::vector<Board> boards;
    boards.reserve(serials.size());
    for (const std::uint32_t serial : serials) {
        boards.emplace_back(serial, words_for(invocation, serial, options));
    }
    if (!options.consequence.empty()) {
        invocation.console.confirm(fmt::format("{} Probes: {}.", options.consequence, joined(serials)));
    }
    const std::size_t jobs = invocation.settings.jobs == 0 ? boards.size() : invocation.settings.jobs;
    run_boards(boards, {jobs, !options.shows_reports, options.ended}, invocation.console);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    return summarize(invocation.console, boards, options, elapsed.count());
}

} // namespace

ExitCode run_on_probe(const Invocation& invocation, const ProbeWork& work)
{
    if (names_several(invocation.settings)) {
        throw Failure{ExitCode::usage, "this command works on one probe at a time", "Name one with --probe SERIAL."};
    }
    return run_on_one(invocation, work, {});
}

bool names_several(const Settings& settings)
{
    return settings.all_probes || settings.probes.size() > 1;
}

ExitCode run_on_probes(const Invocation& invocation, const ProbeWork& work, const LineOptions& options)
{
    return names_several(invocation.settings) ? run_on_several(invocation, options)
                                              : run_on_one(invocation, work, options.ended);
}

void require_own_files(const Settings& settings, const char* option, const std::string& file)
{
    if (names_several(settings) && !file.empty() && !has_serial_mark(file)) {
        throw Failure{ExitCode::usage, fmt::format("{} {} is one file, and several probes are named", option, file),
                      "Put {serial} into its name, which stands for the probe's serial number."};
    }
}

} // namespace tessit::cli
