#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace jlinksim {

inline constexpr std::uint32_t flash_page_bytes = 4096;
inline constexpr std::uint32_t information_area_bytes = 4096; ///< of the FICR and of the UICR
inline constexpr std::uint32_t small_ram_section_bytes = 4096;
inline constexpr std::uint32_t large_ram_section_bytes = 32768;

/// How a chip's protected flash blocks are released.
enum class BlockProtectionRelease
{
    by_register, ///< the disable register, at the next system reset
    by_reset,    ///< any reset; the chip has no register for it
};

/// What tells one chip version from another.
struct ChipModel
{
    std::string_view name;
    std::uint32_t part;     ///< FICR part word, and the ROM table's part number
    std::uint32_t revision; ///< FICR revision word, and the ROM table's revision
    std::uint32_t variant;  ///< FICR variant word
    std::uint32_t flash_bytes;
    std::uint32_t small_ram_sections; ///< of 4 KiB, two to a RAM block
    std::uint32_t large_ram_sections; ///< of 32 KiB, all in RAM block 8
    bool has_control_port;            ///< the CTRL-AP; without it there is no readback protection either
    BlockProtectionRelease release;
    std::uint32_t release_register; ///< address of the block-protection disable register
    std::uint32_t gpio_ports;
    bool has_qspi;
    bool has_long_frames;         ///< of the QSPI's custom instructions
    std::uint32_t ram_code_alias; ///< where the upper half of the RAM appears in code space too; 0 without one

    constexpr std::uint32_t ram_bytes() const
    {
        return small_ram_sections * small_ram_section_bytes + large_ram_sections * large_ram_section_bytes;
    }
    constexpr std::uint32_t ram_sections() const { return small_ram_sections + large_ram_sections; }
    /// What hosts call the device: model and variant, which is the chip version's name up to its revision.
    constexpr std::string_view device_name() const { return name.substr(0, name.rfind('_')); }
};

std::span<const ChipModel> chip_models();
/// Null when there is no such chip.
const ChipModel* find_chip_model(std::string_view name);

} // namespace jlinksim
