#include "base/wide.h"

#include <windows.h>

namespace tessit::base {

std::wstring wide(std::string_view utf8)
{
    const int length = static_cast<int>(utf8.size());
    std::wstring text(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, text.data(), static_cast<int>(text.size()));
    return text;
}

std::string utf8(std::wstring_view wide)
{
    const int length = static_cast<int>(wide.size());
    std::string text(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), static_cast<int>(text.size()), nullptr, nullptr);
    return text;
}

} // namespace tessit::base
