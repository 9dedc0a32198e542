#pragma once

#include "sim/jlink/session.h"

/// What a host must not leave behind: whatever is still on when the firmware runs or the probe goes stays on in the
/// field.
namespace jlinksim {

/// What of it is on now, in bits.
std::uint32_t leftovers_of(const Chip& chip);

/// Record what the session itself left on when it lets the CPU go, or resets the chip.
void note_leftovers(Session& session, const Chip& chip, const char* before);
/// The same and what else counts at the session's end, at which only `chip`'s debug port has been put in order.
void note_leftovers_at_close(Session& session, Chip& chip);

/// As the J-Link library does when it connects: the core's trace and debug blocks on.
void enable_trace(Chip& chip);

} // namespace jlinksim
