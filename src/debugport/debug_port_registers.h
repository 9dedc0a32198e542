#pragma once

#include <cstdint>

/// Debug port registers (ARM Debug Interface v5), by the low four bits of their address.
namespace tessit::debug_port {

inline constexpr std::uint8_t ctrl_stat = 0x4; // banked by SELECT.DPBANKSEL
inline constexpr std::uint8_t select = 0x8;

/// CTRL/STAT: CSYSPWRUPREQ (bit 30) and CDBGPWRUPREQ (bit 28).
inline constexpr std::uint32_t power_up_request = 0x50000000;
inline constexpr std::uint32_t power_down_request = 0x00000000;

constexpr bool is_banked(std::uint8_t reg_addr)
{
    return (reg_addr & 0xF) == ctrl_stat;
}

/// Register index as the J-Link library takes it.
constexpr std::uint8_t register_index(std::uint8_t reg_addr)
{
    return static_cast<std::uint8_t>((reg_addr >> 2) & 3);
}

/// SELECT for a banked DP register: DPBANKSEL.
constexpr std::uint32_t select_dp_bank(std::uint8_t reg_addr)
{
    return std::uint32_t{reg_addr} >> 4;
}

/// SELECT for an AP register: APSEL and APBANKSEL.
constexpr std::uint32_t select_ap_bank(std::uint8_t ap_index, std::uint8_t reg_addr)
{
    return std::uint32_t{ap_index} << 24 | (std::uint32_t{reg_addr} & 0xF0);
}

} // namespace tessit::debug_port
