#pragma once

#include <cstdint>

/// The QSPI peripheral as used from the probe's side.
namespace tessit::qspi_registers {

inline constexpr std::uint32_t activate_task = 0x40029000;
inline constexpr std::uint32_t read_start_task = 0x40029004;
inline constexpr std::uint32_t write_start_task = 0x40029008;
inline constexpr std::uint32_t erase_start_task = 0x4002900C;
inline constexpr std::uint32_t deactivate_task = 0x40029010;
inline constexpr std::uint32_t post_deactivate = 0x40029054; // takes 1 after deactivating
inline constexpr std::uint32_t ready_event = 0x40029100;     // 0 until the current operation is done
inline constexpr std::uint32_t enable = 0x40029500;
inline constexpr std::uint32_t read_source = 0x40029504;       // flash address
inline constexpr std::uint32_t read_destination = 0x40029508;  // RAM address
inline constexpr std::uint32_t read_count = 0x4002950C;        // bytes
inline constexpr std::uint32_t write_destination = 0x40029510; // flash address
inline constexpr std::uint32_t write_source = 0x40029514;      // RAM address
inline constexpr std::uint32_t write_count = 0x40029518;       // bytes
inline constexpr std::uint32_t erase_pointer = 0x4002951C;     // flash address
inline constexpr std::uint32_t erase_length = 0x40029520;      // qspi_erase_len_t, 0 to 2
inline constexpr std::uint32_t clk_select = 0x40029524;
inline constexpr std::uint32_t csn_select = 0x40029528;
inline constexpr std::uint32_t dio0_select = 0x40029530;
inline constexpr std::uint32_t dio1_select = 0x40029534;
inline constexpr std::uint32_t dio2_select = 0x40029538;
inline constexpr std::uint32_t dio3_select = 0x4002953C;
inline constexpr std::uint32_t interface_configuration_0 = 0x40029544;
inline constexpr std::uint32_t interface_configuration_1 = 0x40029600;
inline constexpr std::uint32_t custom_configuration = 0x40029634;
inline constexpr std::uint32_t custom_data_0 = 0x40029638;
inline constexpr std::uint32_t custom_data_1 = 0x4002963C;
inline constexpr std::uint32_t interface_timing = 0x40029640;

/// Bits of interface configuration register 1 that are always set.
inline constexpr std::uint32_t interface_configuration_1_constant = 0x00040400;
inline constexpr std::uint32_t interface_timing_value = 0x00000200;

/// Custom instruction configuration: the opcode in bits 0 to 7, the length field in bits 8 to 11, and these.
inline constexpr unsigned custom_length_shift = 8;
inline constexpr unsigned custom_io2_shift = 12;
inline constexpr unsigned custom_io3_shift = 13;
inline constexpr std::uint32_t custom_long_frame = 1u << 16;
inline constexpr std::uint32_t custom_long_frame_end = 1u << 17;

/// GPIO pin configuration of a QSPI pin.
inline constexpr std::uint32_t pin_configuration_value = 0x00000302;

constexpr std::uint32_t pin_configuration(std::uint32_t port, std::uint32_t pin)
{
    return 0x50000700 + 0x300 * port + 4 * pin;
}

constexpr std::uint32_t pin_select_value(std::uint32_t port, std::uint32_t pin)
{
    return port << 5 | pin;
}

/// The peripheral's data path: areas of target RAM of this size each.
inline constexpr std::uint32_t staging_size = 4096;
inline constexpr std::uint32_t read_staging = 0x20000000;
inline constexpr std::uint32_t write_staging = 0x20001000;

} // namespace tessit::qspi_registers
