#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

/// Erases that recovery shares with the exports. Nothing here checks state or halts the CPU.
namespace tessit {

result_code_t erase_all();
result_code_t erase_uicr();

/// Switch the flash controller to erase, write one of its registers, wait for it, and switch back. Has no tag of its
/// own.
result_code_t nvmc_erase(std::uint32_t register_addr, std::uint32_t value);

} // namespace tessit
