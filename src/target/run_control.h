#pragma once

#include "jlinkarm_birch_tessit.h"

/// The CPU's run state and the resets. The run state is the chip's: it is asked each time.
namespace tessit {

result_code_t halt();

/// Leaves *halted as it is on failure.
result_code_t is_halted(bool* halted);

/// Let the CPU run. Always RESULT_OK.
result_code_t go();

/// Reset the connected CPU through the J-Link library.
result_code_t sys_reset();

/// Pulse the CTRL-AP reset register. ERR_UNSUPPORTED_ON_DEVICE (without a log line) on a chip without CTRL-AP.
result_code_t debug_reset();

/// Clear the chip's record of reset reasons.
result_code_t clear_resetreas();

} // namespace tessit
