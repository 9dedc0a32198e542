#pragma once

#include "sim/device/declared_register.h"
#include "sim/device/services.h"
#include "sim/model/chip_model.h"
#include "sim/qspi/serial_flash_options.h"

#include <cstdint>
#include <vector>

namespace jlinksim {

/// What a bench says about one chip's hardware. Content is another matter (FactoryContent).
struct ChipOptions
{
    const ChipModel* model = nullptr;
    bool has_control_port = true;
    std::uint32_t rom_part = 0;
    std::uint32_t rom_revision = 0;
    std::vector<std::uint32_t> protected_blocks;
    HardwareFaults faults;
    SerialFlashOptions serial_flash;
    std::vector<RegisterOptions> registers;
};

} // namespace jlinksim
