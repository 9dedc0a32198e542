#include "sim/jlink/run_control.h"

#include "sim/jlink/leftovers.h"

#include <algorithm>
#include <array>
#include <fmt/core.h>

namespace jlinksim {
namespace {

/// Without it a host that steps through a program would find itself in a handler at nearly every step.
constexpr bool step_masks_interrupts = true;

/// The chip, when its core answers.
Chip* reach_core(Session& session, std::uint64_t transfers)
{
    Chip* const chip = session.require_chip();
    if (chip == nullptr) {
        return nullptr;
    }
    session.spend(transfers);
    return chip->is_debuggable() ? chip : nullptr;
}

/// The chip, when its CPU's registers can be accessed.
Chip* reach_registers(Session& session, std::uint32_t index, const char* access)
{
    Chip* const chip = reach_core(session, timing::swd_transfers_per_cpu_register);
    if (chip == nullptr) {
        return nullptr;
    }
    if (index >= cpu_register_count) {
        session.bench().records().add("cpu-register", fmt::format("{} of CPU register {}", access, index));
        return nullptr;
    }
    if (!chip->core().is_halted()) {
        session.bench().records().add("cpu-running", fmt::format("{} of CPU register {} while it runs", access, index));
        return nullptr;
    }
    return chip;
}

void pulse_line(Chip& chip)
{
    chip.drive_reset_line(true);
    chip.drive_reset_line(false);
}

/// Hosts sleep through a pulse, and that takes time only where real time counts for the chip.
void note_pulse(Session& session, const Chip& chip, bool low)
{
    const Clock& clock = session.bench().clock();
    std::uint64_t& began = session.settings().line_went_low_at;
    if (low && !chip.is_reset_line_low()) {
        began = clock.device();
    } else if (!low && chip.is_reset_line_low() && clock.is_real_time() &&
               clock.device() - began < timing::shortest_reset_pulse_ns) {
        session.bench().records().add("reset-pulse-short",
                                      fmt::format("{} us on the reset line", (clock.device() - began) / 1000));
    }
}

/// A reset type of the J-Link library's. All of them halt the CPU at its reset handler.
struct ResetType
{
    std::int32_t number;
    void (*carry_out)(Chip& chip);
};
constexpr std::array reset_types{
    ResetType{0, pulse_line}, // whatever the library thinks best: here it takes the reset line
    ResetType{1, [](Chip& chip) { chip.core().reset(ResetKind::system); }},                    // the core alone
    ResetType{2, pulse_line}, ResetType{8, [](Chip& chip) { chip.reset(ResetKind::system); }}, // core and peripherals
};

} // namespace

int is_halted(Session& session)
{
    Chip* const chip = reach_core(session, 1);
    if (chip == nullptr) {
        return -1;
    }
    return chip->core().is_halted() ? 1 : 0;
}

bool halt(Session& session)
{
    // A request, and a look whether it was followed.
    Chip* const chip = reach_core(session, 2);
    if (chip == nullptr) {
        return false;
    }
    chip->core().enable_debug();
    chip->core().halt();
    return true;
}

void go(Session& session)
{
    if (Chip* const chip = reach_core(session, 1)) {
        note_leftovers(session, *chip, "JLINKARM_Go");
        session.read_cache().invalidate();
        chip->core().go();
        session.rtt().cpu_runs();
    }
}

bool step(Session& session)
{
    Chip* const chip = reach_core(session, 2);
    if (chip == nullptr || !chip->core().is_halted()) {
        return false;
    }
    session.read_cache().invalidate();
    chip->core().step(step_masks_interrupts);
    return true;
}

std::uint32_t read_cpu_register(Session& session, std::uint32_t index)
{
    Chip* const chip = reach_registers(session, index, "read");
    return chip == nullptr ? 0 : chip->core().read_cpu_register(index);
}

bool write_cpu_register(Session& session, std::uint32_t index, std::uint32_t value)
{
    Chip* const chip = reach_registers(session, index, "write");
    if (chip == nullptr) {
        return false;
    }
    chip->core().write_cpu_register(index, value);
    return true;
}

bool reset(Session& session)
{
    // Reset request, vector catch on and off, waiting for the core to answer again.
    Chip* const chip = reach_core(session, 8);
    if (chip == nullptr) {
        return false;
    }
    const std::int32_t type = session.settings().reset_type;
    const auto wanted = std::ranges::find(reset_types, type, &ResetType::number);
    if (wanted == reset_types.end()) {
        session.bench().records().add("reset-type", fmt::format("there is no reset type {}", type));
        return false;
    }
    note_leftovers(session, *chip, "JLINKARM_Reset");
    session.read_cache().invalidate();
    session.reset_rtt(*chip);
    wanted->carry_out(*chip);
    if (!chip->is_debuggable()) {
        session.report("The chip closed its debug access at the reset: it is readback-protected now.");
        session.lose_connection();
        return false;
    }
    chip->core().halt_at_reset();
    return true;
}

void drive_reset_line(Session& session, bool low)
{
    if (session.require_probe() == nullptr) {
        return;
    }
    session.spend(0);
    Chip* const chip = session.find_chip();
    if (chip == nullptr) {
        return;
    }
    if (session.settings().target_interface != TargetInterface::jtag) {
        session.bench().records().add("reset-line-interface", "the reset line is driven with JTAG selected only");
    }
    if (low && !chip->is_reset_line_low()) {
        note_leftovers(session, *chip, "the reset line");
    }
    note_pulse(session, *chip, low);
    chip->drive_reset_line(low);
    session.lose_connection();
}

} // namespace jlinksim
