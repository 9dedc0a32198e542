/// The target's byte order is little-endian.
#pragma once

#include <cstdint>
#include <span>

namespace tessit::cli {

inline std::uint32_t load_word(std::span<const std::uint8_t> bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

inline void store_word(std::span<std::uint8_t> bytes, std::uint32_t word)
{
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
}

} // namespace tessit::cli
