#include "cli/commands/on_probes.h"

#include "cli/session/probe_choice.h"
#include "cli/text/table.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

Report run_on(Session& session, std::uint32_t serial, const ProbeWork& work)
{
    session.connect(serial);
    Target target{session};
    Report report = work(target);
    session.disconnect();
    return report;
}

ExitCode run_on_one(const Invocation& invocation, Session& session, std::uint32_t serial, const ProbeWork& work)
{
    const Report report = run_on(session, serial, work);
    invocation.console.show(report.text, report.json);
    return ExitCode::done;
}

struct Outcome
{
    std::uint32_t serial;
    ExitCode code;
    Json json;
};

Outcome try_on(const Invocation& invocation, Session& session, std::uint32_t serial, const ProbeWork& work)
{
    invocation.console.note(fmt::format("Probe {}", serial));
    try {
        Report report = run_on(session, serial, work);
        if (!invocation.console.is_json()) {
            invocation.console.show(report.text, {});
        }
        return {serial, ExitCode::done, std::move(report.json)};
    } catch (const Failure& failure) {
        if (failure.code() == ExitCode::interrupted) {
            throw;
        }
        invocation.console.report_line(failure);
        TESSIT_disconnect_from_emu(); // what it answers adds nothing to the failure
        return {serial, failure.code(), Json{{"probe", serial}, {"error", Console::to_json(failure)}}};
    }
}

ExitCode run_on_several(const Invocation& invocation, Session& session, const std::vector<std::uint32_t>& serials,
                        const ProbeWork& work)
{
    std::vector<Outcome> outcomes;
    outcomes.reserve(serials.size());
    for (const std::uint32_t serial : serials) {
        outcomes.push_back(try_on(invocation, session, serial, work));
    }
    Json json{{"probes", Json::list()}};
    std::vector<std::vector<std::string>> rows{{"PROBE", "RESULT"}};
    for (Outcome& outcome : outcomes) {
        const bool is_done = outcome.code == ExitCode::done;
        rows.push_back({std::to_string(outcome.serial),
                        is_done ? "done" : fmt::format("failed (exit code {})", static_cast<int>(outcome.code))});
        json["probes"].push_back(std::move(outcome.json));
    }
    invocation.console.show(format_table(rows), json);
    const bool all_done =
        std::ranges::all_of(outcomes, [](const Outcome& each) { return each.code == ExitCode::done; });
    return all_done ? ExitCode::done : ExitCode::some_failed;
}

} // namespace

ExitCode run_on_probe(const Invocation& invocation, const ProbeWork& work)
{
    if (invocation.settings.all_probes || invocation.settings.probes.size() > 1) {
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
    if (serials.size() == 1) {
        return run_on_one(invocation, session, serials.front(), work);
    }
    return run_on_several(invocation, session, serials, work);
}

} // namespace tessit::cli
