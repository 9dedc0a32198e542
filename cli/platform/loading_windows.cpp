#include "base/wide.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"

#include <fmt/format.h>
#include <optional>
#include <windows.h>

namespace tessit::cli::platform {
namespace {

namespace fs = std::filesystem;

// A name as the functions of the ANSI code page take it; null when that has no characters for it.
std::optional<std::string> in_code_page(const std::wstring& name)
{
    const int length = static_cast<int>(name.size());
    std::string narrow(
        static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, name.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    const int count = static_cast<int>(narrow.size());
    WideCharToMultiByte(CP_ACP, 0, name.data(), length, narrow.data(), count, nullptr, nullptr);
    std::wstring back(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, back.data(), static_cast<int>(back.size()));
    return back == name ? std::optional{narrow} : std::nullopt;
}

std::wstring short_name(const std::wstring& name)
{
    std::wstring text(GetShortPathNameW(name.c_str(), nullptr, 0), L'\0');
    text.resize(GetShortPathNameW(name.c_str(), text.data(), static_cast<DWORD>(text.size())));
    return text;
}

} // namespace

std::string loadable_name(const fs::path& path)
{
    if (const auto name = in_code_page(path.native())) {
        return *name;
    }
    if (const std::wstring brief = short_name(path.native()); !brief.empty()) {
        if (const auto name = in_code_page(brief)) {
            return *name;
        }
    }
    throw Failure{
        ExitCode::failure,
        fmt::format("cannot load {}: Windows loads libraries by names of its code page {}, which has no characters "
                    "for this one, and its disk keeps no short names",
                    path.string(), GetACP()),
        "Put the library into a folder whose name has plain letters only, and name it there."};
}

} // namespace tessit::cli::platform
