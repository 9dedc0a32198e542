#include "sim/jlink/debug_access.h"

#include "sim/jlink/leftovers.h"

#include <fmt/core.h>

namespace jlinksim {
namespace {

/// The chip whose debug port answers.
Chip* reach_debug_port(Session& session, std::uint8_t index, std::uint64_t transfers)
{
    if (session.require_probe() == nullptr) {
        return nullptr;
    }
    session.spend(transfers);
    if (!session.has_coresight()) {
        session.bench().records().add("coresight-unconfigured", "register access before JLINKARM_CORESIGHT_Configure");
        return nullptr;
    }
    if (index > 3) {
        session.bench().records().add("debug-register", fmt::format("index {} of a debug or access port", index));
        return nullptr;
    }
    return session.settings().target_interface == TargetInterface::swd ? session.find_chip() : nullptr;
}

/// The CTRL-AP took the chip into reset.
void note_control_reset(Session& session, const Chip& chip)
{
    note_leftovers(session, chip, "a CTRL-AP reset");
    if (session.is_connected()) {
        session.bench().records().add("ctrl-ap-reset-connected", "CTRL-AP RESET while connected to the core");
    }
}

} // namespace

bool configure_coresight(Session& session)
{
    if (session.require_probe() == nullptr) {
        return false;
    }
    session.spend(2);
    if (session.settings().target_interface != TargetInterface::swd || session.find_chip() == nullptr) {
        return false;
    }
    session.set_coresight();
    return true;
}

bool read_debug_register(Session& session, std::uint8_t index, bool access_port, std::uint32_t& value)
{
    // An access port's answer is fetched by a second transfer.
    Chip* const chip = reach_debug_port(session, index, access_port ? 2 : 1);
    if (chip == nullptr) {
        return false;
    }
    if (access_port) {
        return chip->debug_port().read_access(index, value);
    }
    value = chip->debug_port().read_debug(index);
    return true;
}

bool write_debug_register(Session& session, std::uint8_t index, bool access_port, std::uint32_t value)
{
    Chip* const chip = reach_debug_port(session, index, 1);
    if (chip == nullptr) {
        return false;
    }
    if (access_port) {
        const bool was_held = chip->is_held();
        const bool ok = chip->debug_port().write_access(index, value);
        if (!was_held && chip->is_held()) {
            note_control_reset(session, *chip);
        }
        return ok;
    }
    chip->debug_port().write_debug(index, value);
    return true;
}

} // namespace jlinksim
