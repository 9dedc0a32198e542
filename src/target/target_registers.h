#pragma once

#include <cstdint>

/// Registers by which the target is identified, protected and reset.
namespace tessit {

/// Factory information area.
namespace ficr {
inline constexpr std::uint32_t variant = 0x10000110;
inline constexpr std::uint32_t part = 0x10000130;
inline constexpr std::uint32_t revision = 0x10000134;
inline constexpr std::uint32_t variant_vb = 0x100;       // of the variant word
inline constexpr std::uint32_t part_absent = 0xFFFFFFFF; // of the part word: the ROM table tells it
} // namespace ficr

/// Peripheral identification registers of the ROM table (ARM CoreSight architecture).
namespace rom_table {
inline constexpr std::uint32_t pidr0 = 0xF0000FE0; // bits 7:0 are bits 7:0 of the part number
inline constexpr std::uint32_t pidr1 = 0xF0000FE4; // bits 3:0 are bits 11:8 of the part number
inline constexpr std::uint32_t pidr2 = 0xF0000FE8; // bits 7:4 are the revision
} // namespace rom_table

/// The chip's control access port, reachable when the CPU's debug access port is closed.
namespace ctrl_ap {
inline constexpr std::uint8_t index = 1;
inline constexpr std::uint8_t reset = 0x00;             // 1 holds the chip in reset, 0 releases it
inline constexpr std::uint8_t erase_all = 0x04;         // 1 starts
inline constexpr std::uint8_t erase_all_status = 0x08;  // 0 when no erase-all is in progress
inline constexpr std::uint8_t protection_status = 0x0C; // 0 when protection is enabled
inline constexpr std::uint8_t identification = 0xFC;
inline constexpr std::uint32_t identification_mask = 0x0FFFFF00;
inline constexpr std::uint32_t identification_value = 0x02880000;
} // namespace ctrl_ap

/// User configuration area.
namespace uicr {
inline constexpr std::uint32_t approtect = 0x10001208;
inline constexpr std::uint32_t approtect_enabled = 0xFFFFFF00;
} // namespace uicr

namespace power {
inline constexpr std::uint32_t reset_reasons = 0x40000400; // writing ones clears
} // namespace power

} // namespace tessit
