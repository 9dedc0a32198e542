/// The fault that a halted CPU is handling, as its registers and its stack tell it.
#pragma once

#include "cli/chip/fault_status.h"
#include "cli/session/target.h"

#include <cstdint>
#include <string>

namespace tessit::cli {

FaultStatus read_fault_status(const Target& target);

/// Clears the fault status registers, which otherwise keep what earlier faults left.
void forget_faults(const Target& target);

/// "in the HardFault handler: it met an undefined instruction (UNDEFINSTR); the program counter was 0x00000412,
/// LR 0x00000309"; the end is left out where the stack does not show it. For a CPU in a fault's handler.
std::string describe_handling(const Target& target, const FaultStatus& status);

} // namespace tessit::cli
