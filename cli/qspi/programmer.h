/// Carries a plan for the external flash out: erase, write, read back and compare.
#pragma once

#include "cli/flash/mismatches.h"
#include "cli/qspi/external_flash.h"
#include "cli/qspi/plan.h"
#include "cli/terminal/console.h"

#include <cstdint>

namespace tessit::cli::qspi {

/// A failure or an interruption says in which state the flash is left; a difference found at the end is a Failure with
/// ExitCode::verify_mismatch. Returns the bytes that were read back.
std::uint64_t execute(const ExternalFlash& flash, const Plan& plan, bool verify, const Console& console);

/// Erases, with a check that the flash took it where the plan knows of bytes that were not blank.
void erase(const ExternalFlash& flash, std::span<const Erase> erases, const Console& console,
           const std::function<void(const Erase&)>& check = {});

/// Reads what the image covers and compares.
Mismatches compare(const ExternalFlash& flash, const Image& image, const Console& console);

/// Throws unless all of the range is blank.
void require_blank(const ExternalFlash& flash, const Range& range, const Console& console);

} // namespace tessit::cli::qspi
