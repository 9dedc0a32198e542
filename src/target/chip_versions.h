#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

namespace tessit {

enum class Variant : std::uint8_t
{
    any,
    va,
    vb,
};

/// What the library knows of a Birch chip version. Operations ask the row; there is no other place for these facts.
struct ChipVersion
{
    chip_version_t value;
    std::uint32_t part;     ///< part code of the identification
    std::uint32_t revision; ///< revision code, or any_other_revision
    Variant variant;        ///< which variant words the row stands for
    /// The CTRL-AP protects and resets the chip. Not on the first engineering sample.
    bool has_debug_reset;
    std::uint32_t ram_sections;
    const char* rtt_search_ranges;        ///< J-Link command string
    std::uint32_t bprot_disable_register; ///< 0 when block protection ends with the reset alone
    bool has_qspi;
    bool has_qspi_long_frames; ///< custom instructions of more than 9 bytes
};

/// Revision of the rows that stand for all revisions of a part that no other row names.
inline constexpr std::uint32_t any_other_revision = 0xFFFFFFFF;

/// The row of a Birch chip; null for every other version, which no operation handles.
const ChipVersion* find_birch(chip_version_t version);

/// The row that the identification codes name; null for an unknown part.
const ChipVersion* find_by_identification(std::uint32_t part, std::uint32_t revision, bool is_vb);

/// Where a RAM section is switched: sections 0 to 15 are two to a block, the big ones from 16 on share block 8.
struct RamSection
{
    std::uint32_t size; // bytes
    std::uint32_t block;
    std::uint32_t bit;
};

inline constexpr std::uint32_t small_ram_sections = 16;
inline constexpr std::uint32_t small_ram_section_size = 4096;

constexpr RamSection ram_section(std::uint32_t index)
{
    if (index < small_ram_sections) {
        return {small_ram_section_size, index / 2, index % 2};
    }
    return {32768, 8, index - small_ram_sections};
}

} // namespace tessit
