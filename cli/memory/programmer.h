/// Carries a plan out: erase, write, read back and compare.
#pragma once

#include "cli/memory/plan.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tessit::cli {

struct ProgramResult
{
    std::uint64_t written_bytes = 0;
    std::uint64_t verified_bytes = 0;
    bool protection_was_lifted = false; ///< it kept something from being erased or written, and was lifted
};

/// After each erase it looks whether bytes that were seen set are gone. What had no effect is done again, once, after
/// the device's protection was lifted. A failure or an interruption says in which state the device is left; a
/// difference that stays is a Failure with ExitCode::verify_mismatch.
ProgramResult execute(const Device& device, const Plan& plan, bool verify, const Narration& narration);

/// "3 of 5 pages changed" where all were looked at, "5 of 5 pages written" where not. `units` is "pages" or "sectors".
std::string describe_changes(const Plan& plan, std::string_view units);
/// "verified", "not verified" or "equal already".
const char* describe_verification(const Plan& plan, const ProgramResult& result);

} // namespace tessit::cli
