/// What the chip has of its areas, so that an access beyond them is refused and not blamed on the wires.
#pragma once

#include "cli/session/target.h"
#include "cli/text/numbers.h"

namespace tessit::cli {

/// Throws a Failure with ExitCode::usage unless the range lies within one area, and in flash and RAM within what the
/// chip has of them.
void require_within_memory(const Target& target, const Range& range);

} // namespace tessit::cli
