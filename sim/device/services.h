#pragma once

#include "sim/time/clock.h"
#include "sim/witness/records.h"

namespace jlinksim {

/// What a chip's parts need of the bench they stand on.
struct Services
{
    Clock& clock;
    Records& records;
};

/// Defects that a bench can give a chip.
struct HardwareFaults
{
    bool erase_never_ends = false;   ///< the CTRL-AP's erase-all stays busy and erases nothing
    bool flash_never_ready = false;  ///< the flash controller stays busy and does nothing
    bool control_port_fails = false; ///< accesses to the CTRL-AP are not acknowledged
    bool connect_fails = false;      ///< the core does not answer
    bool qspi_never_ready = false;   ///< the QSPI peripheral's ready event never comes
};

} // namespace jlinksim
