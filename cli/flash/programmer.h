/// Carries a plan out: erase, write, read back and compare.
#pragma once

#include "cli/flash/mismatches.h"
#include "cli/flash/plan.h"

namespace tessit::cli {

struct ProgramResult
{
    std::uint64_t written_bytes = 0;
    std::uint64_t verified_bytes = 0;
};

/// Leaves the CPU halted. A failure or an interruption says in which state the flash is left; a difference found at the
/// end is a Failure with ExitCode::verify_mismatch.
ProgramResult execute(const Target& target, const Plan& plan, bool verify, const Console& console);

} // namespace tessit::cli
