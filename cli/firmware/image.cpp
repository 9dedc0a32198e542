#include "cli/firmware/image.h"

#include <algorithm>
#include <numeric>

namespace tessit::cli {
namespace {

// The first segment that ends after the address.
template <typename Segments>
auto first_reaching(Segments& segments, std::uint64_t address)
{
    return std::partition_point(segments.begin(), segments.end(),
                                [address](const Segment& segment) { return segment.range().end() <= address; });
}

} // namespace

std::optional<std::uint32_t> Image::add(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (bytes.empty()) {
        return std::nullopt;
    }
    const Range range{address, bytes.size()};
    auto next = first_reaching(segments_, address);
    if (next != segments_.end() && next->address < range.end()) {
        return std::max(next->address, address);
    }

    const bool joins_previous = next != segments_.begin() && std::prev(next)->range().end() == address;
    if (!joins_previous) {
        next = segments_.insert(next, Segment{address, {bytes.begin(), bytes.end()}});
    } else {
        --next;
        next->bytes.insert(next->bytes.end(), bytes.begin(), bytes.end());
    }
    const auto following = std::next(next);
    if (following != segments_.end() && following->address == next->range().end()) {
        next->bytes.insert(next->bytes.end(), following->bytes.begin(), following->bytes.end());
        segments_.erase(following);
    }
    return std::nullopt;
}

std::uint64_t Image::size() const
{
    return std::accumulate(segments_.begin(), segments_.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Segment& segment) { return sum + segment.bytes.size(); });
}

std::span<const Segment> Image::segments_within(const Range& window) const
{
    const auto first = first_reaching(segments_, window.first);
    const auto end = std::partition_point(first, segments_.end(),
                                          [&window](const Segment& segment) { return segment.address < window.end(); });
    return {first, end};
}

void Image::overlay(const Range& window, std::span<std::uint8_t> bytes) const
{
    for (const Segment& segment : segments_within(window)) {
        const std::uint32_t first = std::max(segment.address, window.first);
        const Range part{first, std::min(segment.range().end(), window.end()) - first};
        const auto source = std::span{segment.bytes}.subspan(segment.range().offset_of(first), part.size());
        std::ranges::copy(source, bytes.subspan(window.offset_of(first)).begin());
    }
}

bool Image::covers(const Range& range) const
{
    const auto segment = first_reaching(segments_, range.first);
    return segment != segments_.end() && segment->range().contains(range);
}

std::optional<std::uint8_t> Image::byte_at(std::uint32_t address) const
{
    const auto segment = first_reaching(segments_, address);
    if (segment == segments_.end() || segment->address > address) {
        return std::nullopt;
    }
    return segment->bytes[address - segment->address];
}

} // namespace tessit::cli
