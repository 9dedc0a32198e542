#include "cli/commands/on_probes.h"
#include "cli/memory/recovery.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

Report report_protected(const Session& session, bool was_protected)
{
    return {fmt::format("The chip is readback-protected {}. `{}` is the only way back; it erases everything.\n",
                        was_protected ? "already" : "now", session.command_line("recover --yes")),
            {{"is_protected", true}, {"was_protected", was_protected}}};
}

Report protect(const Target& target, const Console& console)
{
    const Session& session = target.session();
    if (session.is_chip_protected()) {
        return report_protected(session, true);
    }
    console.confirm(fmt::format("This locks the chip on probe {} against all debugging; unlocking it will erase "
                                "everything in it.",
                                session.serial()));
    session.check(TESSIT_readback_protect(FULL), "turn readback protection on");
    if (!session.is_chip_protected()) {
        throw Failure{ExitCode::failure, "the protection was set, but the chip does not report it",
                      "Power the board off and on; `tessit info` shows whether it is protected then."};
    }
    return report_protected(session, false);
}

ExitCode run(const Invocation& invocation)
{
    LineOptions line;
    line.consequence = "This locks the chips against all debugging; unlocking one will erase everything in it.";
    return run_on_probes(
        invocation, [&](const Target& target) { return protect(target, invocation.console); }, line);
}

} // namespace

Command add_protect(const Verb& root)
{
    return {root.verb("protect",
                      "Turn readback protection on; only `tessit recover`, which erases everything, turns it off"),
            &run};
}

} // namespace tessit::cli
