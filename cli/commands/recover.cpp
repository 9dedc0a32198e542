#include "cli/commands/on_probes.h"
#include "cli/commands/ram_power.h"
#include "cli/session/memory_map.h"
#include "cli/text/table.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

namespace tessit::cli {
namespace {

// The phases as the library's narration announces them.
struct Phase
{
    std::string_view operation;
    const char* text;
};

constexpr std::array phases{
    Phase{"write_access_port_register", "Erasing everything through the control access port: 0.5 s, 30 s at most"},
    Phase{"connect_to_device", "Connecting to the chip"},
    Phase{"erase_uicr", "Erasing the UICR"},
    Phase{"erase_all", "Erasing the flash: less than a second"},
    Phase{"power_ram_all", "Powering all RAM sections on"},
    Phase{"clear_resetreas", "Clearing the reset reasons"},
};

// Announces each phase once, when it begins.
class PhaseAnnouncer
{
public:
    PhaseAnnouncer(LibraryLog& log, const Console& console) : log_{log}, console_{console}
    {
        log_.listen([this](std::string_view operation) { announce(operation); });
    }
    PhaseAnnouncer(const PhaseAnnouncer&) = delete;
    PhaseAnnouncer& operator=(const PhaseAnnouncer&) = delete;
    ~PhaseAnnouncer() { log_.listen({}); }

private:
    void announce(std::string_view operation)
    {
        const auto* const phase = std::ranges::find(phases, operation, &Phase::operation);
        if (phase == phases.end()) {
            return;
        }
        bool& was_announced = announced_.at(static_cast<std::size_t>(phase - phases.begin()));
        if (!was_announced) {
            console_.note(fmt::format("{} ...", phase->text));
        }
        was_announced = true;
    }

    LibraryLog& log_;
    const Console& console_;
    std::array<bool, phases.size()> announced_{};
};

readback_protection_status_t read_protection(const Session& session)
{
    readback_protection_status_t status = NONE;
    session.check(TESSIT_readback_status(&status), "read the protection status");
    return status;
}

Report summarize(const Target& target, bool was_protected)
{
    const Session& session = target.session();
    const bool is_protected = read_protection(session) != NONE;
    const RamSections ram = read_ram_sections(session);
    const auto on_off = [](bool value) { return value ? "on" : "off"; };
    const std::vector<std::vector<std::string>> rows{
        {"", "BEFORE", "NOW"},
        {"Protection", on_off(was_protected), on_off(is_protected)},
        {"Flash, UICR", was_protected ? "not readable" : "as they were", "erased"},
        {"RAM power", "", fmt::format("{} of {} sections on", ram.count_on(), ram.sizes.size())},
        {"Reset reasons", "", "cleared"},
    };
    return {fmt::format("Recovered the chip on probe {}.\n{}The chip is blank; `{}` writes firmware.\n",
                        session.serial(), format_table(rows), session.command_line("program FILE --reset")),
            {{"probe", session.serial()}, {"was_protected", was_protected}, {"is_protected", is_protected}}};
}

Report recover(const Target& target, const Console& console)
{
    Session& session = target.session();
    const bool was_protected = read_protection(session) != NONE;
    console.confirm(fmt::format("This erases everything in the {} chip on probe {}: flash, UICR and RAM.",
                                was_protected ? "protected" : "unprotected", session.serial()));
    {
        const PhaseAnnouncer announcer{session.log(), console};
        session.check(TESSIT_recover(), "recover the chip");
    }
    return summarize(target, was_protected);
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
