#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Power of the RAM sections. Nothing here checks arguments or state, and nothing halts the CPU.
namespace tessit {

result_code_t read_ram_sections_count(std::uint32_t* count);

/// `statuses` has an entry for each section of the chip; nothing is stored on failure.
result_code_t read_ram_sections_power_status(ram_power_status_t* statuses);

/// Powers all blocks that any chip has, whatever the chip.
result_code_t power_ram_all();

/// `section` is below the chip's section count.
result_code_t unpower_ram_section(std::uint32_t section);

} // namespace tessit
