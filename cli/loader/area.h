/// Where in the chip's RAM the flash loader stands.
#pragma once

#include "cli/session/target.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tessit::cli {

/// A stretch of RAM, divided up. docs/loader.md has the same as a map.
struct LoaderArea
{
    static constexpr std::uint32_t control_block_offset = 0x040; ///< before it the vector table
    static constexpr std::uint32_t control_block_bytes = 0x048;
    static constexpr std::uint32_t code_offset = 0x090;
    static constexpr std::uint32_t crc_table_offset = 0x300; ///< 1 KiB, which the loader makes
    static constexpr std::uint32_t up_ring_offset = 0x700;
    static constexpr std::uint32_t up_ring_bytes = 0x100;
    static constexpr std::uint32_t stack_end_offset = 0x840; ///< it has room for the frame of a fault
    static constexpr std::uint32_t down_ring_offset = 0x840;
    /// For checksums, whose commands are few, so that little has to be saved and put back.
    static constexpr std::uint32_t small_down_ring_bytes = 0x040;
    static constexpr std::uint32_t small_bytes = down_ring_offset + small_down_ring_bytes;
    /// With a down ring for all that arrives at 1 MHz while everything is erased.
    static constexpr std::uint32_t largest_bytes = 0x8000;

    std::uint32_t base = 0;
    std::uint32_t bytes = 0;

    std::uint32_t control_block() const { return base + control_block_offset; }
    std::uint32_t entry() const { return base + code_offset; }
    std::uint32_t stack_end() const { return base + stack_end_offset; }
    std::uint32_t large_down_ring_bytes() const { return bytes - down_ring_offset; }
    Range small_part() const { return {base, small_bytes}; }
};

/// In the first sections of RAM that have their power; nothing where they are too small. Does not halt the CPU.
std::optional<LoaderArea> find_loader_area(const Session& session);

/// What the small part of it, or what begins it, has to hold for the loader to start.
std::vector<std::uint8_t> loader_image(const LoaderArea& area, std::uint32_t down_ring_bytes);

} // namespace tessit::cli
