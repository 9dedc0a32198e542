#include "cli/memory/contents.h"

namespace tessit::cli {

void Contents::keep_around_image(const Range& window, std::span<const std::uint8_t> found)
{
    std::uint64_t at = window.first;
    const auto keep_until = [&](std::uint64_t end) {
        if (at < end) {
            const auto first = static_cast<std::uint32_t>(at);
            // Each window is looked at once.
            static_cast<void>(kept_.add(first, found.subspan(window.offset_of(at), Range{first, end - at}.size())));
        }
    };
    for (const Segment& segment : image_->segments_within(window)) {
        keep_until(std::max<std::uint64_t>(segment.address, window.first));
        at = std::min(segment.range().end(), window.end());
    }
    keep_until(window.end());
}

void Contents::fill(const Range& window, std::span<std::uint8_t> bytes) const
{
    std::ranges::fill(bytes, erased_byte);
    kept_.overlay(window, bytes);
    image_->overlay(window, bytes);
}

} // namespace tessit::cli
