#pragma once

#include "sim/jlink/session.h"

/// Debug port and access port registers, which need a session but no connection to the CPU.
namespace jlinksim {

bool configure_coresight(Session& session);
/// Index 0 to 3. False: nothing answered.
bool read_debug_register(Session& session, std::uint8_t index, bool access_port, std::uint32_t& value);
bool write_debug_register(Session& session, std::uint8_t index, bool access_port, std::uint32_t value);

} // namespace jlinksim
