/// Files by their names in UTF-8, with the same bytes on every system.
#pragma once

#include <cstdio>
#include <filesystem>

namespace tessit::base {

/// As std::fopen, whatever characters the name has, and with the end of a line as it is written. Null, with errno set,
/// when it cannot be opened.
std::FILE* open_file(const std::filesystem::path& path, const char* mode);

} // namespace tessit::base
