#include "cli/platform/platform.h"

#include "base/environment.h"
#include "base/path.h"
#include "base/wide.h"
#include "cli/failure.h"
#include "cli/platform/process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <io.h>
#include <random>
#include <share.h>
#include <sys/stat.h>
#include <system_error>
#include <windows.h>

#include <shellapi.h> // needs the one before

namespace tessit::cli::platform {
namespace {

namespace fs = std::filesystem;

int error_number()
{
    const std::error_code code{static_cast<int>(GetLastError()), std::system_category()};
    return code.default_error_condition().value();
}

// The folder that the installer of the J-Link software left in the registry; empty when it left none.
fs::path registered_jlink(HKEY root)
{
    constexpr const wchar_t* key = L"Software\\SEGGER\\J-Link";
    constexpr const wchar_t* value = L"InstallPath";
    DWORD bytes = 0;
    if (RegGetValueW(root, key, value, RRF_RT_REG_SZ, nullptr, nullptr, &bytes) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    if (RegGetValueW(root, key, value, RRF_RT_REG_SZ, nullptr, text.data(), &bytes) != ERROR_SUCCESS) {
        return {};
    }
    return text.c_str(); // up to its end
}

fs::path with_random_end(const fs::path& begin)
{
    std::random_device random;
    fs::path path = begin;
    path += fmt::format(".{:08x}{:08x}", random(), random());
    return path;
}

} // namespace

const char* const simulation_file_name = "jlinkarm_sim.dll";

std::vector<std::string> arguments(int, char**)
{
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        arguments.push_back(base::utf8(words[i]));
    }
    LocalFree(words);
    return arguments;
}

fs::path executable()
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(2 * path.size());
    }
}

fs::path user_config_folder()
{
    const fs::path folder = base::path_of(base::environment("APPDATA"));
    return folder.is_absolute() ? folder : fs::path{};
}

JlinkInstallations jlink_installations()
{
    const char* const file_name = sizeof(void*) == 8 ? "JLink_x64.dll" : "JLinkARM.dll"; // NOLINT: bits of a pointer
    JlinkInstallations installations{file_name, {}, {}, {}};
    for (HKEY const root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        if (const fs::path folder = registered_jlink(root); !folder.empty()) {
            installations.in_use.push_back(folder);
        }
    }
    for (const char* const variable : {"ProgramW6432", "ProgramFiles", "ProgramFiles(x86)"}) {
        const fs::path folder = base::path_of(base::environment(variable));
        const fs::path parent = folder / "SEGGER";
        if (folder.is_absolute() && std::ranges::find(installations.parents, parent) == installations.parents.end()) {
            installations.in_use.push_back(parent / "JLink");
            installations.parents.push_back(parent);
        }
    }
    return installations;
}

std::FILE* create_beside(const fs::path& target, fs::path& created)
{
    const fs::path path = with_random_end(target);
    const int descriptor =
        _wopen(path.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) {
        return nullptr;
    }
    created = path;
    return _fdopen(descriptor, "wb");
}

int replace_file(const fs::path& from, const fs::path& to)
{
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0 ? 0 : error_number();
}

int append_line(const fs::path& path, std::string_view line)
{
    const int descriptor = _wsopen(path.c_str(), _O_WRONLY | _O_CREAT | _O_APPEND | _O_BINARY | _O_NOINHERIT,
                                   _SH_DENYNO, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) {
        return errno;
    }
    // A byte far behind the end, for a locked one cannot be read; it is unlocked with the file's end.
    OVERLAPPED place{};
    place.OffsetHigh = 1;
    LockFileEx(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place);
    const std::int64_t before = _filelengthi64(descriptor);
    const int count = _write(descriptor, line.data(), static_cast<unsigned>(line.size()));
    int error = count < 0 ? errno : 0;
    if (count >= 0 && static_cast<std::size_t>(count) != line.size()) { // the disk is full
        error = _chsize_s(descriptor, before) == 0 ? ENOSPC : errno;
    }
    return _close(descriptor) == 0 ? error : errno;
}

fs::path make_private_folder(std::string_view prefix)
{
    std::error_code error;
    fs::path folder = fs::temp_directory_path(error); // the user's own
    if (!error) {
        folder = with_random_end(folder / base::path_of(prefix));
        if (CreateDirectoryW(folder.c_str(), nullptr) == 0) {
            error.assign(error_number(), std::generic_category());
        }
    }
    if (error) {
        throw Failure{ExitCode::failure, fmt::format("cannot make a folder for temporary files: {}", error.message()),
                      "The environment variable TMP names where it is to be."};
    }
    return folder;
}

bool is_writable(const fs::path& path)
{
    constexpr int for_writing = 2;
    return _waccess(path.c_str(), for_writing) == 0;
}

} // namespace tessit::cli::platform
