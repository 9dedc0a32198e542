#include "cli/chip/ram_power.h"
#include "cli/commands/on_probes.h"
#include "cli/memory/chip.h"
#include "cli/memory/eraser.h"
#include "cli/session/memory_map.h"
#include "cli/text/table.h"

#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
namespace {

readback_protection_status_t read_protection(const Session& session)
{
    readback_protection_status_t status = NONE;
    session.check(TESSIT_readback_status(&status), "read the protection status");
    return status;
}

Report summarize(const Target& target, bool was_protected, const EraseResult& erased)
{
    const Session& session = target.session();
    const bool is_protected = read_protection(session) != NONE;
    const RamSections ram = read_ram_sections(session);
    const auto on_off = [](bool value) { return value ? "on" : "off"; };
    const std::vector<std::vector<std::string>> rows{
        {"", "BEFORE", "NOW"},
        {"Protection", on_off(was_protected), on_off(is_protected)},
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
             {"is_protected", is_protected},
             {"proof", name_of(erased.proof)},
             {"protection_lifted", erased.protection_was_lifted}}};
}

// Recovery resets the chip on its way, so it cannot be run again once the block protection is lifted: the next reset
// would bring that back. This is what is left to do.
void erase_again(const Target& target, const Device& chip)
{
    const Session& session = target.session();
    chip.erase_all();
    session.check(TESSIT_power_ram_all(), "power the RAM on");
    const std::uint32_t reasons = target.read_word(memory_map::reset_reasons); // a written 1 clears
    session.check(TESSIT_write_u32(memory_map::reset_reasons, reasons, 0), "clear the reset reasons");
}

// The library reports that the steps of the recovery were taken; whether the flash obeyed is for us to see.
EraseResult recover_and_look(const Target& target, const Narration& narration)
{
    target.session().check(TESSIT_recover(), "recover the chip");
    const Device chip = chip_device(target, narration);
    bool was_recovered = true;
    return erase_everything(
        chip,
        [&] {
            if (!std::exchange(was_recovered, false)) {
                erase_again(target, chip);
            }
        },
        narration);
}

Report recover(const Target& target, const Console& console)
{
    const Session& session = target.session();
    const bool was_protected = read_protection(session) != NONE;
    console.confirm(fmt::format("This erases everything in the {} chip on probe {}: flash, UICR and RAM.",
                                was_protected ? "protected" : "unprotected", session.serial()));
    console.note(was_protected ? "Erasing everything through the control access port: 0.5 s, 30 s at most ..."
                               : "Erasing everything: less than a second ...");
    return summarize(target, was_protected, recover_and_look(target, {console, session.clock()}));
}

ExitCode run(const Invocation& invocation)
{
    return run_on_probe(invocation, [&](const Target& target) { return recover(target, invocation.console); });
}

} // namespace

Command add_recover(const Verb& root)
{
    return {root.verb("recover", "Unlock a protected chip, or blank any chip, by erasing everything in it"), &run};
}

} // namespace tessit::cli
