/// The core's fault status registers in words.
#pragma once

#include <cstdint>
#include <string>

namespace tessit::cli {

/// As they were read from the chip.
struct FaultStatus
{
    std::uint32_t exception;      ///< number of the active one, 0 for none
    std::uint32_t configurable;   ///< CFSR
    std::uint32_t hard;           ///< HFSR
    std::uint32_t debug;          ///< DFSR
    std::uint32_t memory_address; ///< MMFAR
    std::uint32_t bus_address;    ///< BFAR

    bool has_met_breakpoint() const { return (debug & 1U << 1) != 0; }
    /// A fault's handler is what the CPU executes.
    bool is_handling() const { return exception >= 3 && exception <= 6; }
};

/// "in the HardFault handler"; empty outside of the handlers of faults.
std::string describe_handler(const FaultStatus& status);
/// "an access to 0x30000000 was refused (PRECISERR)"; several are joined; empty when no fault is noted.
std::string describe_faults(const FaultStatus& status);
/// "a watchpoint was hit"; empty when nothing is noted that stopped the CPU.
std::string describe_debug_event(const FaultStatus& status);

} // namespace tessit::cli
