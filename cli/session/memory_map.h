/// The areas of a Birch chip's address space, as far as the command line tells them apart.
#pragma once

#include "cli/text/numbers.h"

#include <cstdint>

namespace tessit::cli::memory_map {

inline constexpr std::uint32_t flash_start = 0x00000000;
/// From here on RAM shows a second time, on chips that have it so.
inline constexpr std::uint32_t code_alias_start = 0x08000000;
inline constexpr Range ficr{0x10000000, 0x1000}; ///< factory information, written by the manufacturer
inline constexpr Range uicr{0x10001000, 0x1000}; ///< user configuration, non-volatile
inline constexpr std::uint32_t ram_start = 0x20000000;

inline constexpr std::uint32_t ficr_device_id = 0x10000060;  ///< 64 bits, each chip's own
inline constexpr std::uint32_t ficr_page_size = 0x10000010;  ///< bytes
inline constexpr std::uint32_t ficr_page_count = 0x10000014; ///< of the flash
inline constexpr std::uint32_t uicr_approtect = 0x10001208;  ///< readback protection is on unless the low byte is 0xFF
inline constexpr std::uint32_t flash_ready = 0x4001E400;     ///< bit 0: the flash controller is ready
inline constexpr std::uint32_t flash_config = 0x4001E504;    ///< 0: read-only
inline constexpr std::uint32_t reset_reasons = 0x40000400;

/// The whole area of an address by the chips' memory map; what is in no area reaches to the end of the address space.
Range area_of(std::uint32_t address);
/// "the flash area", "RAM", ...: what an address belongs to.
const char* area_name(std::uint32_t address);

} // namespace tessit::cli::memory_map
