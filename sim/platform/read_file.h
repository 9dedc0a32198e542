#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace jlinksim::platform {

/// A file's whole content; null when there is no such file or it cannot be read.
std::optional<std::string> read_file(const std::filesystem::path& path);

} // namespace jlinksim::platform
