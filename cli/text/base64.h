/// Bytes that are no text, in a text.
#pragma once

#include <string>
#include <string_view>

namespace tessit::cli {

/// With padding, without line ends.
std::string base64(std::string_view bytes);

bool is_utf8(std::string_view bytes);

} // namespace tessit::cli
