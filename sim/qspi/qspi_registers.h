#pragma once

#include <cstdint>

/// Offsets of the QSPI peripheral's registers.
namespace jlinksim::qspi {

inline constexpr std::uint32_t release_register = 0x054;
inline constexpr std::uint32_t ready_register = 0x100;
inline constexpr std::uint32_t interrupt_register = 0x300;
inline constexpr std::uint32_t enable_register = 0x500;
inline constexpr std::uint32_t read_source = 0x504;
inline constexpr std::uint32_t read_destination = 0x508;
inline constexpr std::uint32_t read_count = 0x50C;
inline constexpr std::uint32_t write_destination = 0x510;
inline constexpr std::uint32_t write_source = 0x514;
inline constexpr std::uint32_t write_count = 0x518;
inline constexpr std::uint32_t erase_pointer = 0x51C;
inline constexpr std::uint32_t erase_length = 0x520;
inline constexpr std::uint32_t interface_0 = 0x544;
inline constexpr std::uint32_t interface_1 = 0x600;
inline constexpr std::uint32_t status_register = 0x604;
inline constexpr std::uint32_t custom_data_0 = 0x638;
inline constexpr std::uint32_t timing_register = 0x640;

} // namespace jlinksim::qspi
