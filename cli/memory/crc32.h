/// CRC-32 as Ethernet and zip files have it: reflected, polynomial 0xEDB88320, all ones before and inverted after.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace tessit::cli {

constexpr std::array<std::uint32_t, 256> make_crc32_table()
{
    constexpr std::uint32_t polynomial = 0xEDB88320;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? value >> 1 ^ polynomial : value >> 1;
        }
        table[i] = value;
    }
    return table;
}

constexpr std::uint32_t crc32(std::span<const std::uint8_t> bytes)
{
    constexpr std::array<std::uint32_t, 256> table = make_crc32_table();
    std::uint32_t crc = ~0U;
    for (const std::uint8_t byte : bytes) {
        crc = table[(crc ^ byte) & 0xFF] ^ crc >> 8;
    }
    return ~crc;
}

} // namespace tessit::cli
