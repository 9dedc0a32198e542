// What holds for any flash: an erase makes every byte 0xFF, and a write only clears bits.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tessit::cli {

inline constexpr uint8_t erased_byte = 0xFF;

inline bool is_erased(std::span<const uint8_t> bytes)
{
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == erased_byte; });
}

// The offset of the first byte that a write alone cannot make of what is there. Both have the same length.
inline std::optional<size_t> first_unwritable(std::span<const uint8_t> current, std::span<const uint8_t> wanted)
{
    const auto [have, want] =
        std::ranges::mismatch(current, wanted, [](uint8_t have, uint8_t want) { return (have & want) == want; });
    return want == wanted.end() ? std::nullopt : std::optional{static_cast<size_t>(want - wanted.begin())};
}

} // namespace tessit::cli
