/// What memories are to hold: an image, and of what was there around it in the same units as much as has to stay.
#pragma once

#include "cli/firmware/image.h"
#include "cli/memory/erased_bytes.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace tessit::cli {

class Contents
{
public:
    /// Refers to the image, which is not copied.
    explicit Contents(const Image& image) : image_{&image} {}

    const Image& image() const { return *image_; }

    /// The bytes of the window, of which `found` holds what is there: what the image has nothing for is to stay.
    void keep_around_image(const Range& window, std::span<const std::uint8_t> found);

    /// The window's bytes as they are to be; erased where nobody wants anything.
    void fill(const Range& window, std::span<std::uint8_t> bytes) const;

private:
    const Image* image_;
    Image kept_;
};

} // namespace tessit::cli
