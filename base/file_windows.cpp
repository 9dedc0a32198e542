#include "base/file.h"

#include <string>

namespace tessit::base {

std::FILE* open_file(const std::filesystem::path& path, const char* mode)
{
    std::wstring wide_mode{mode, mode + std::char_traits<char>::length(mode)};
    if (wide_mode.find(L'b') == std::wstring::npos) {
        wide_mode += L'b'; // else every end of a line gets a second character
    }
    return _wfopen(path.c_str(), wide_mode.c_str());
}

} // namespace tessit::base
