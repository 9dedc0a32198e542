/// Unlocking a protected chip, or blanking any chip, by erasing everything in it.
#pragma once

#include "cli/memory/eraser.h"
#include "cli/session/target.h"
#include "cli/terminal/narration.h"

namespace tessit::cli {

/// What a recovery destroys, as it is asked: "This erases everything in the protected chip ...".
std::string recovery_consequence(const Session& session, bool was_protected);

/// Tells how long it takes, and proves that the chip is blank afterwards. It is as after a power-on, and its CPU
/// halted.
EraseResult recover_chip(const Target& target, bool was_protected, const Narration& narration);

} // namespace tessit::cli
