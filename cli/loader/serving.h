/// The chip's memories by way of the flash loader, which outlives the device.
#pragma once

#include "cli/loader/flash_loader.h"
#include "cli/memory/memory.h"

namespace tessit::cli {

/// Flash is erased and written by the loader from now on.
void serve(Device& chip, FlashLoader& loader, std::uint32_t speed_khz);

/// Flash and UICR are compared by the loader's checksums.
void serve_checksums(Device& chip, FlashLoader& loader);

} // namespace tessit::cli
