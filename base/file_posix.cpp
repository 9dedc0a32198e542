#include "base/file.h"

namespace tessit::base {

std::FILE* open_file(const std::filesystem::path& path, const char* mode)
{
    return std::fopen(path.c_str(), mode);
}

} // namespace tessit::base
