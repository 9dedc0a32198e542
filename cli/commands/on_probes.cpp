#include "cli/commands/on_probes.h"

#include "cli/session/probe_choice.h"
#include "cli/sim/bench.h"
#include "cli/text/table.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

/// What a simulated probe's open refuses may lie in its state, which no cable can mend.
void connect(Session& session, std::uint32_t serial)
{
    try {
        session.connect(serial);
    } catch (const Failure&) {
        if (session.settings().simulated) {
            Bench{}.require_usable(serial);
        }
        throw;
    }
}

Report run_on(const Console& console, Session& session, std::uint32_t serial, const ProbeWork& work)
{
    console.at_probe(serial);
    const Stopwatch stopwatch{session.clock()};
    connect(session, serial);
    Target target{session};
    Report report = work(target);
    session.disconnect();
    const std::optional<double> modelled = stopwatch.modelled_seconds();
    report.json.append({{"seconds", stopwatch.seconds()}, {"modelled_seconds", modelled ? Json(*modelled) : Json()}});
    return report;
}

ExitCode run_on_one(const Invocation& invocation, Session& session, std::uint32_t serial, const ProbeWork& work)
{
    const Report report = run_on(invocation.console, session, serial, work);
    invocation.console.show(report.text, report.json);
    return session.close(ExitCode::done, invocation.console);
}

struct Outcome
{
    std::uint32_t serial;
    ExitCode code;
    Json json;
};

Outcome failed(const Console& console, std::uint32_t serial, const Failure& failure)
{
    return {serial, failure.code(), Json{{"probe", serial}, {"error", console.to_json(failure)}}};
}

// A report of several lines is set off from the next board's.
std::string separated(const std::string& text)
{
    return std::ranges::count(text, '\n') > 1 ? text + "\n" : text;
}

Outcome try_on(const Invocation& invocation, Session& session, std::uint32_t serial, const ProbeWork& work)
{
    try {
        stop_if_interrupted("this probe was not begun");
        invocation.console.note(fmt::format("Probe {}", serial));
        Report report = run_on(invocation.console, session, serial, work);
        if (!invocation.console.is_json()) {
            invocation.console.show(separated(report.text), {});
        }
        Json json{{"probe", serial}};
        json.append(std::move(report.json));
        return {serial, ExitCode::done, std::move(json)};
    } catch (const Failure& failure) {
        invocation.console.report_line(failure);
        session.abandon();
        return failed(invocation.console, serial, failure);
    }
}

std::string describe(ExitCode code)
{
    switch (code) {
    case ExitCode::done:
        return "done";
    case ExitCode::interrupted:
        return "interrupted";
    default:
        return fmt::format("failed (exit code {})", static_cast<int>(code));
    }
}

ExitCode summarize(const Invocation& invocation, std::vector<Outcome>& outcomes)
{
    Json json{{"probes", Json::list()}};
    std::vector<std::vector<std::string>> rows{{"PROBE", "RESULT"}};
    for (Outcome& outcome : outcomes) {
        rows.push_back({std::to_string(outcome.serial), describe(outcome.code)});
        json["probes"].push_back(std::move(outcome.json));
    }
    invocation.console.show(format_table(rows), json);
    const auto has_code = [&outcomes](ExitCode code) {
        return std::ranges::any_of(outcomes, [code](const Outcome& each) { return each.code == code; });
    };
    if (has_code(ExitCode::interrupted)) {
        return ExitCode::interrupted;
    }
    const bool all_done =
        std::ranges::all_of(outcomes, [](const Outcome& each) { return each.code == ExitCode::done; });
    return all_done ? ExitCode::done : ExitCode::some_failed;
}

ExitCode run_on_several(const Invocation& invocation, Session& session, const std::vector<std::uint32_t>& serials,
                        const ProbeWork& work)
{
    std::vector<Outcome> outcomes;
    outcomes.reserve(serials.size());
    for (const std::uint32_t serial : serials) {
        outcomes.push_back(try_on(invocation, session, serial, work));
    }
    return session.close(summarize(invocation, outcomes), invocation.console);
}

// Whether several could be meant, however many there are: the shape of the result goes by it.
bool names_several(const Settings& settings)
{
    return settings.all_probes || settings.probes.size() > 1;
}

} // namespace

ExitCode run_on_probe(const Invocation& invocation, const ProbeWork& work)
{
    if (names_several(invocation.settings)) {
        throw Failure{ExitCode::usage, "this command works on one probe at a time", "Name one with --probe SERIAL."};
    }
    Session session{invocation.settings};
    const std::vector<std::uint32_t> serials = choose_probes(invocation.settings, session.attached_probes());
    return run_on_one(invocation, session, serials.front(), work);
}

ExitCode run_on_probes(const Invocation& invocation, const ProbeWork& work)
{
    Session session{invocation.settings};
    const std::vector<std::uint32_t> serials = choose_probes(invocation.settings, session.attached_probes());
    if (names_several(invocation.settings)) {
        return run_on_several(invocation, session, serials, work);
    }
    return run_on_one(invocation, session, serials.front(), work);
}

} // namespace tessit::cli
