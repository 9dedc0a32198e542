// The target's byte order is little-endian.
#pragma once

#include <cstdint>
#include <span>

namespace tessit::cli {

inline uint32_t load_word(std::span<const uint8_t> bytes)
{
    return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

inline void store_word(std::span<uint8_t> bytes, uint32_t word)
{
    for (size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(word >> (8 * i));
    }
}

} // namespace tessit::cli
