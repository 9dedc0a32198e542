#include "sim/platform/read_file.h"

#include "sim/platform/file_error.h"

#include <fmt/core.h>
#include <fstream>
#include <system_error>

namespace jlinksim::platform {

std::string read_file(const std::filesystem::path& path, std::uintmax_t limit)
{
    std::error_code error;
    const bool is_regular = std::filesystem::is_regular_file(path, error);
    const std::uintmax_t size = is_regular ? std::filesystem::file_size(path, error) : 0;
    if (error) {
        throw FileError{fmt::format("cannot read {}: {}", path.string(), error.message())};
    }
    if (!is_regular) {
        throw FileError{fmt::format("cannot read {}: it is not a regular file", path.string())};
    }
    if (size > limit) {
        throw FileError{
            fmt::format("cannot read {}: it holds {} bytes, and at most {} fit", path.string(), size, limit)};
    }
    std::string content(static_cast<std::size_t>(size), '\0');
    std::ifstream file{path, std::ios::binary};
    file.read(content.data(), static_cast<std::streamsize>(size));
    if (!file) {
        throw FileError{fmt::format("cannot read {}", path.string())};
    }
    return content;
}

} // namespace jlinksim::platform
