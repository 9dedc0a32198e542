/// The byte order of the target, of its records and of image files, whatever the host's.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace tessit::little_endian {

constexpr std::uint16_t load_u16(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

constexpr std::uint32_t load_u32(std::span<const std::uint8_t> bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

constexpr std::array<std::uint8_t, 4> bytes_of(std::uint32_t value)
{
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

constexpr void store_u32(std::span<std::uint8_t> bytes, std::uint32_t value)
{
    for (std::size_t i = 0; const std::uint8_t byte : bytes_of(value)) {
        bytes[i++] = byte;
    }
}

} // namespace tessit::little_endian
