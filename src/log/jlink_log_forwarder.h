#pragma once

#include "src/platform/calling_convention.h"

namespace tessit {

/// The log and error handler handed to the J-Link library: its texts become messages of the operation in progress.
/// Blank texts and the J-Link library's own time-stamped trace lines are dropped.
void JLINK_CALL jlink_log_forwarder(const char* text);

} // namespace tessit
