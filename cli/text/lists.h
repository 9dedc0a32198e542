/// Lists as a text.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tessit::cli {

/// "a, b, c"
std::string joined(std::span<const std::string> words, std::string_view between = ", ");
std::string joined(std::span<const std::string_view> words, std::string_view between = ", ");

/// "1, 2, 3"
std::string joined(std::span<const std::uint32_t> numbers);

/// Each byte as two digits: "01ff" or, with a space between them, "01 ff".
std::string hex(std::span<const std::uint8_t> bytes, std::string_view between = "");

} // namespace tessit::cli
