/// Names of files are UTF-8 in our texts on every system; std::filesystem takes a std::string so on some alone.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tessit::base {

inline std::filesystem::path path_of(std::string_view utf8)
{
    return std::u8string{utf8.begin(), utf8.end()};
}

} // namespace tessit::base
