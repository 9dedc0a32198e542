#include "sim/platform/read_file.h"

#include <fstream>
#include <iterator>

namespace jlinksim::platform {

std::optional<std::string> read_file(const std::filesystem::path& path)
{
    std::error_code ignored;
    std::ifstream file{path, std::ios::binary};
    // A folder opens like a file, and only reading it fails.
    if (!file || std::filesystem::is_directory(path, ignored)) {
        return std::nullopt;
    }
    return std::string{std::istreambuf_iterator<char>{file}, {}};
}

} // namespace jlinksim::platform
