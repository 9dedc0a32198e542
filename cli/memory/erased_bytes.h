/// What holds for any flash: an erase makes every byte 0xFF, and a write only clears bits.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tessit::cli {

inline constexpr std::uint8_t erased_byte = 0xFF;

inline bool is_erased(std::span<const std::uint8_t> bytes)
{
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == erased_byte; });
}

/// The offset of the first byte that a write alone cannot make of what is there. Both have the same length.
inline std::optional<std::size_t> first_unwritable(std::span<const std::uint8_t> current,
                                                   std::span<const std::uint8_t> wanted)
{
    const auto [have, want] = std::ranges::mismatch(
        current, wanted, [](std::uint8_t have, std::uint8_t want) { return (have & want) == want; });
    return want == wanted.end() ? std::nullopt : std::optional{static_cast<std::size_t>(want - wanted.begin())};
}

} // namespace tessit::cli
