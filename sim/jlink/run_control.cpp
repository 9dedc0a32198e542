#include "sim/jlink/run_control.h"

#include <fmt/core.h>

namespace jlinksim {
namespace {

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
    chip->core().step();
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
    session.reset_rtt(*chip);
    chip->reset(ResetKind::system);
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
    chip->drive_reset_line(low);
    session.lose_connection();
}

} // namespace jlinksim
