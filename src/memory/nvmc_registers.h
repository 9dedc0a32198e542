#pragma once

#include <cstdint>

/// Registers of the flash controller.
namespace tessit::nvmc {

inline constexpr std::uint32_t ready = 0x4001E400;
inline constexpr std::uint32_t configuration = 0x4001E504;
inline constexpr std::uint32_t erase_page = 0x4001E508; // takes the page's address
inline constexpr std::uint32_t erase_all = 0x4001E50C;
inline constexpr std::uint32_t erase_uicr = 0x4001E514;
inline constexpr std::uint32_t key = 0x4001E600; // 0 locks
inline constexpr std::uint32_t mass_erase = 0x4001E610;

/// Values of the configuration register.
inline constexpr std::uint32_t read_only = 0;
inline constexpr std::uint32_t write_enable = 1;
inline constexpr std::uint32_t erase_enable = 2;

/// Values of the key register.
inline constexpr std::uint32_t ficr_write_key = 0x5A3C;
inline constexpr std::uint32_t mass_erase_key = 0x6E71;
inline constexpr std::uint32_t locked = 0;

/// What starts an erase.
inline constexpr std::uint32_t start_erase = 1;
inline constexpr std::uint32_t start_mass_erase = 3;

} // namespace tessit::nvmc
