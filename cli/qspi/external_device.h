/// The external flash as a device that is programmed.
#pragma once

#include "cli/memory/memory.h"
#include "cli/qspi/external_flash.h"

namespace tessit::cli {

/// Refers to the flash, which is open. Its one memory is the whole flash.
Device external_device(const ExternalFlash& flash, std::uint32_t speed_khz);

} // namespace tessit::cli
