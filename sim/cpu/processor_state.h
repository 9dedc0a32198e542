#pragma once

#include "sim/cpu/cpu.h"
#include "sim/cpu/exceptions.h"

#include <cstdint>

namespace jlinksim {

/// What a CPU sleeps in.
enum class Sleep : std::uint32_t
{
    none,
    until_interrupt, ///< WFI, or SLEEPONEXIT
    until_event,     ///< WFE
};

/// What a process leaves of a CPU for the next one.
struct ProcessorState
{
    CpuState registers;
    ExceptionState exceptions;
    Sleep sleep;
    std::uint32_t event; ///< the event register: 1 after SEV and at every begin and end of a handler
};

} // namespace jlinksim
