#include "cli/memory/recovery.h"

#include "cli/memory/chip.h"
#include "cli/session/memory_map.h"

#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
namespace {

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

} // namespace

std::string recovery_consequence(const Session& session, bool was_protected)
{
    return fmt::format("This erases everything in the {} chip on probe {}: flash, UICR and RAM.",
                       was_protected ? "protected" : "unprotected", session.serial());
}

EraseResult recover_chip(const Target& target, bool was_protected, const Narration& narration)
{
    narration.console.note(was_protected ? "Erasing everything through the control access port: 0.5 s, 30 s at most ..."
                                         : "Erasing everything: less than a second ...");
    return recover_and_look(target, narration);
}

} // namespace tessit::cli
