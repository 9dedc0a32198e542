#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace jlinksim::platform {

/// The whole content of a file that a user named.
/// @throws FileError when it cannot be read, is no regular file (a device may never end, a pipe may never begin), or
/// holds more than `limit` bytes
std::string read_file(const std::filesystem::path& path, std::uintmax_t limit);

} // namespace jlinksim::platform
