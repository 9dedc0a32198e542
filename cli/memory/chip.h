/// The chip's own memories, flash and UICR, as a device that is programmed.
#pragma once

#include "cli/firmware/image.h"
#include "cli/memory/memory.h"
#include "cli/session/target.h"
#include "cli/terminal/narration.h"

namespace tessit::cli {

/// Refers to the target and to whom it tells. Its first memory is the flash, its second one the UICR, which cannot be
/// erased by itself unless the user says so. Its protection is the flash's block protection, which the chip's start-up
/// code may have set up; lifting it resets the chip.
Device chip_device(const Target& target, const Narration& narration);

/// Throws a Failure with ExitCode::usage for an image with data for anything else.
void require_within_chip(const Image& image, const Device& chip);

/// Whether the image turns readback protection on.
bool protects_chip(const Image& image);

} // namespace tessit::cli
