/// Text at the border to Windows: UTF-8 inside, UTF-16 outside. What is malformed becomes U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace tessit::base {

std::wstring wide(std::string_view utf8);
std::string utf8(std::wstring_view wide);

} // namespace tessit::base
