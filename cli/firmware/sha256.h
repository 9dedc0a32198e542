/// The fingerprint by which a record names what was programmed.
#pragma once

#include "cli/firmware/image.h"

#include <cstdint>
#include <span>
#include <string>

namespace tessit::cli {

/// SHA-256 in 64 hexadecimal digits.
std::string sha256(std::span<const std::uint8_t> bytes);

/// Of all segments, each as its address and its length in 32 bits, little-endian, and its bytes. Images from files of
/// different formats have the same when they hold the same.
std::string sha256(const Image& image);

} // namespace tessit::cli
