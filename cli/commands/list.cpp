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
    for (const std::uint32_t serial : serials) {
        text += fmt::format("{}\n", serial);
    }
    invocation.console.show(text, {{"probes", serials}});
    if (serials.empty()) {
        invocation.console.report_line(no_probe_attached(invocation.settings));
    }
    return session.close(serials.empty() ? ExitCode::no_probe : ExitCode::done, invocation.console);
}

} // namespace

Command add_list(const Verb& root)
{
    return {root.verb("list", "List the attached probes by serial number"), &run};
}

} // namespace tessit::cli
