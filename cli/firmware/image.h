/// A firmware image: bytes at target addresses, from any of the file formats.
#pragma once

#include "cli/text/numbers.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tessit::cli {

struct Segment
{
    std::uint32_t address = 0;
    std::vector<std::uint8_t> bytes;

    Range range() const { return {address, bytes.size()}; }

    friend bool operator==(const Segment&, const Segment&) = default;
};

/// Segments in ascending order that neither overlap nor touch.
class Image
{
public:
    /// Adds bytes that lie below 4 GiB. Where one of the addresses is taken already nothing is added, and the first
    /// such address is returned.
    [[nodiscard]] std::optional<std::uint32_t> add(std::uint32_t address, std::span<const std::uint8_t> bytes);

    const std::vector<Segment>& segments() const { return segments_; }
    bool empty() const { return segments_.empty(); }
    std::uint64_t size() const; ///< bytes of all segments

    /// The segments that have a byte in the window.
    std::span<const Segment> segments_within(const Range& window) const;

    /// Copies what the image holds of `window` over `bytes`, whose first byte stands for window.first.
    void overlay(const Range& window, std::span<std::uint8_t> bytes) const;

    /// Whether the image holds every byte of the range.
    bool covers(const Range& range) const;

    std::optional<std::uint8_t> byte_at(std::uint32_t address) const;

    friend bool operator==(const Image&, const Image&) = default;

private:
    std::vector<Segment> segments_;
};

} // namespace tessit::cli
