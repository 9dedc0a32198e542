#include "cli/commands/command.h"
#include "cli/session/probe_choice.h"
#include "cli/session/session.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

ExitCode run(const Invocation& invocation)
{
    Session session{invocation.settings};
    const std::vector<std::uint32_t> serials = session.attached_probes();
    std::string text;
    Json probes = Json::list();
    for (const std::uint32_t serial : serials) {
        text += fmt::format("{}\n", serial);
        probes.push_back({{"probe", serial}});
    }
    Json json{{"probes", std::move(probes)}};
    if (serials.empty()) {
        const Failure failure = no_probe_attached(invocation.settings);
        json["error"] = invocation.console.to_json(failure);
        invocation.console.report_line(failure);
    }
    invocation.console.show(text, std::move(json));
    return session.close(serials.empty() ? ExitCode::no_probe : ExitCode::done, invocation.console);
}

} // namespace

Command add_list(const Verb& root)
{
    return {root.verb("list", "List the attached probes by serial number"), &run};
}

} // namespace tessit::cli
