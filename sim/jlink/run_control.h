#pragma once

#include "sim/jlink/session.h"

/// Run state, CPU registers and resets of the chip that a session is connected to.
namespace jlinksim {

/// 1 halted, 0 running, -1 failure.
int is_halted(Session& session);
bool halt(Session& session);
void go(Session& session);
/// False when the CPU runs.
bool step(Session& session);

/// 0, and recorded, while the CPU runs or when there is no such register.
std::uint32_t read_cpu_register(Session& session, std::uint32_t index);
bool write_cpu_register(Session& session, std::uint32_t index, std::uint32_t value);

/// Reset the chip and halt the CPU before its first instruction. False when the chip cannot be debugged afterwards.
bool reset(Session& session);
void drive_reset_line(Session& session, bool low);

} // namespace jlinksim
