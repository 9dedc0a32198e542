#include "cli/chip/ram_power.h"
#include "cli/commands/on_probes.h"
#include "cli/memory/recovery.h"
#include "cli/text/table.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

Report summarize(const Target& target, bool was_protected, const EraseResult& erased)
{
    const Session& session = target.session();
    const bool is_protected_now = session.is_chip_protected();
    const RamSections ram = read_ram_sections(session);
    const auto on_off = [](bool value) { return value ? "on" : "off"; };
    const std::vector<std::vector<std::string>> rows{
        {"", "BEFORE", "NOW"},
        {"Protection", on_off(was_protected), on_off(is_protected_now)},
        {"Flash, UICR", was_protected ? "not readable" : "as they were",
         fmt::format("blank ({})", describe_proof(erased.proof, "pages"))},
        {"RAM power", "", fmt::format("{} of {} sections on", ram.count_on(), ram.sizes.size())},
        {"Reset reasons", "", "cleared"},
    };
    return {fmt::format("Recovered the chip on probe {}.\n{}{}The chip is blank; `{}` writes firmware.\n",
                        session.serial(), format_table(rows),
                        erased.protection_was_lifted ? "The flash's block protection was lifted.\n" : "",
                        session.command_line("program FILE --reset")),
            {{"was_protected", was_protected},
             {"is_protected", is_protected_now},
             {"proof", name_of(erased.proof)},
             {"protection_lifted", erased.protection_was_lifted}}};
}

Report recover(const Target& target, const Console& console)
{
    const Session& session = target.session();
    const bool was_protected = session.is_chip_protected();
    console.confirm(recovery_consequence(session, was_protected));
    return summarize(target, was_protected, recover_chip(target, was_protected, {console, session.clock()}));
}

ExitCode run(const Invocation& invocation)
{
    LineOptions line;
    line.consequence = "This erases everything in the chips: flash, UICR and RAM.";
    return run_on_probes(
        invocation, [&](const Target& target) { return recover(target, invocation.console); }, line);
}

} // namespace

Command add_recover(const Verb& root)
{
    return {root.verb("recover", "Unlock a protected chip, or blank any chip, by erasing everything in it"), &run};
}

} // namespace tessit::cli
