#include "sim/chip/bit_band.h"

#include <algorithm>

namespace jlinksim {
namespace {

constexpr std::uint32_t bits_per_word = 32;

constexpr std::uint32_t bit_of(std::uint32_t offset)
{
    return offset / 4;
}

} // namespace

bool BitBand::read(std::uint32_t offset, std::span<std::uint8_t> data)
{
    std::ranges::fill(data, std::uint8_t{0});
    for (std::size_t at = 0; at < data.size(); ++at) {
        const std::uint32_t byte = offset + static_cast<std::uint32_t>(at);
        const std::uint32_t bit = bit_of(byte);
        std::uint32_t word = 0;
        if (byte % 4 != 0) {
            continue;
        }
        if (!bus_.cpu_read(target_ + bit / bits_per_word * 4, 4, word)) {
            return false;
        }
        data[at] = static_cast<std::uint8_t>(word >> bit % bits_per_word & 1U);
    }
    return true;
}

/// Bit 0 of each word counts.
bool BitBand::write(std::uint32_t offset, std::span<const std::uint8_t> data)
{
    for (std::size_t at = 0; at < data.size(); ++at) {
        const std::uint32_t byte = offset + static_cast<std::uint32_t>(at);
        if (byte % 4 != 0) {
            continue;
        }
        const std::uint32_t bit = bit_of(byte);
        const std::uint32_t address = target_ + bit / bits_per_word * 4;
        const std::uint32_t one = 1U << bit % bits_per_word;
        std::uint32_t word = 0;
        if (!bus_.cpu_read(address, 4, word) ||
            !bus_.cpu_write(address, 4, (data[at] & 1U) != 0 ? word | one : word & ~one)) {
            return false;
        }
    }
    return true;
}

} // namespace jlinksim
