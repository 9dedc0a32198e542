#include "cli/commands/on_probes.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

bool is_protected(const Session& session)
{
    readback_protection_status_t status = NONE;
    session.check(TESSIT_readback_status(&status), "read the protection status");
    return status != NONE;
}

Report report_protected(const Session& session, bool was_protected)
{
    return {fmt::format("The chip is readback-protected {}. `{}` is the only way back; it erases everything.\n",
                        was_protected ? "already" : "now", session.command_line("recover --yes")),
            {{"is_protected", true}, {"was_protected", was_protected}}};
}

Report protect(const Target& target, const Console& console)
{
    const Session& session = target.session();
    if (is_protected(session)) {
        return report_protected(session, true);
    }
    console.confirm(fmt::format("This locks the chip on probe {} against all debugging; unlocking it will erase "
                                "everything in it.",
                                session.serial()));
    session.check(TESSIT_readback_protect(FULL), "turn readback protection on");
    if (!is_protected(session)) {
        throw Failure{ExitCode::failure, "the protection was set, but the chip does not report it",
                      "Power the board off and on; `tessit info` shows whether it is protected then."};
    }
    return report_protected(session, false);
}

ExitCode run(const Invocation& invocation)
{
    return run_on_probe(invocation, [&](const Target& target) { return protect(target, invocation.console); });
}

} // namespace

Command add_protect(const Verb& root)
{
    return {root.verb("protect",
                      "Turn readback protection on; only `tessit recover`, which erases everything, turns it off"),
            &run};
}

} // namespace tessit::cli
