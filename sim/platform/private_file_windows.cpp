#include "sim/platform/private_file.h"

#include "sim/platform/file_error.h"
#include "sim/platform/handle_windows.h"

#include <array>
#include <fmt/core.h>
#include <system_error>

// Who may reach a file is what its folder passes on: that of a user's programs is his alone.
namespace jlinksim::platform {
namespace {

constexpr std::size_t small_file_bytes = 4096;
constexpr DWORD everybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::string reason_of(DWORD error)
{
    switch (error) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return "it exists already";
    default: {
        const std::error_code code{static_cast<int>(error), std::system_category()};
        return code.default_error_condition().message();
    }
    }
}

BY_HANDLE_FILE_INFORMATION status_of(const Handle& file, const std::filesystem::path& path)
{
    BY_HANDLE_FILE_INFORMATION status{};
    if (GetFileInformationByHandle(file.get(), &status) == 0) {
        fail("look at", path, GetLastError());
    }
    return status;
}

void refuse_link(const BY_HANDLE_FILE_INFORMATION& status, const std::filesystem::path& path)
{
    if ((status.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        throw FileError{fmt::format("cannot open {}: it is a symbolic link", path.string())};
    }
}

void write_all(const Handle& file, const std::filesystem::path& path, const std::string& content)
{
    DWORD written = 0;
    if (WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) == 0) {
        fail("write", path, GetLastError());
    }
}

} // namespace

void fail(const char* action, const std::filesystem::path& path, DWORD error)
{
    throw FileError{fmt::format("cannot {} {}: {}", action, path.string(), reason_of(error))};
}

Handle open_private(const std::filesystem::path& path, DWORD access, DWORD creation)
{
    Handle file{CreateFileW(path.c_str(), access, everybody, nullptr, creation,
                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
    if (file.get() == INVALID_HANDLE_VALUE) {
        fail("open", path, GetLastError());
    }
    if (GetFileType(file.get()) != FILE_TYPE_DISK) {
        throw FileError{fmt::format("cannot use {}: it is not a regular file", path.string())};
    }
    refuse_link(status_of(file, path), path);
    return file;
}

void create_private_folder(const std::filesystem::path& path)
{
    std::error_code ignored;
    const std::filesystem::path parent = path.parent_path();
    if (!parent.empty() && !std::filesystem::is_directory(parent, ignored)) {
        create_private_folder(parent);
    }
    if (CreateDirectoryW(path.c_str(), nullptr) == 0 && GetLastError() != ERROR_ALREADY_EXISTS) {
        fail("create", path, GetLastError());
    }
    const Handle folder{CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, everybody, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)};
    if (folder.get() == INVALID_HANDLE_VALUE) {
        fail("open", path, GetLastError());
    }
    const BY_HANDLE_FILE_INFORMATION status = status_of(folder, path);
    refuse_link(status, path);
    if ((status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        throw FileError{fmt::format("cannot open {}: it is not a folder", path.string())};
    }
}

std::optional<std::string> read_private_file(const std::filesystem::path& path)
{
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
            return std::nullopt;
        }
        fail("look at", path, error);
    }
    const Handle file = open_private(path, GENERIC_READ, OPEN_EXISTING);
    std::array<char, small_file_bytes> content{};
    DWORD length = 0;
    if (ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &length, nullptr) == 0) {
        fail("read", path, GetLastError());
    }
    return std::string{content.data(), length};
}

void write_private_file(const std::filesystem::path& path, const std::string& content)
{
    std::filesystem::path draft = path;
    draft += ".new";
    write_all(open_private(draft, GENERIC_WRITE, CREATE_ALWAYS), draft, content);
    if (MoveFileExW(draft.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
        fail("write", path, GetLastError());
    }
}

void remove_file(const std::filesystem::path& path)
{
    if (DeleteFileW(path.c_str()) != 0) {
        return;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) {
        fail("remove", path, error);
    }
}

void write_new_file(const std::filesystem::path& path, const std::string& content)
{
    const Handle file{CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, everybody, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr)};
    if (file.get() == INVALID_HANDLE_VALUE) {
        fail("open", path, GetLastError());
    }
    try {
        write_all(file, path, content);
    } catch (const FileError&) {
        DeleteFileW(path.c_str());
        throw;
    }
}

MappedFile::MappedFile(const std::filesystem::path& path, std::size_t size, Opening opening)
{
    const bool makes = opening == Opening::make;
    const Handle file = open_private(path, GENERIC_READ | GENERIC_WRITE, makes ? OPEN_ALWAYS : OPEN_EXISTING);
    LARGE_INTEGER found{};
    if (GetFileSizeEx(file.get(), &found) == 0) {
        fail("look at", path, GetLastError());
    }
    LARGE_INTEGER wanted{};
    wanted.QuadPart = static_cast<LONGLONG>(size);
    if (!makes && found.QuadPart != wanted.QuadPart) {
        throw FileError{
            fmt::format("cannot use {}: it holds {} bytes instead of {}", path.string(), found.QuadPart, size)};
    }
    // A file that is not sparse gets its space with its size.
    if (found.QuadPart != wanted.QuadPart &&
        (SetFilePointerEx(file.get(), wanted, nullptr, FILE_BEGIN) == 0 || SetEndOfFile(file.get()) == 0)) {
        fail(fmt::format("reserve {} bytes for", size).c_str(), path, GetLastError());
    }
    HANDLE const mapping = CreateFileMappingW(file.get(), nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping == nullptr) {
        fail("map", path, GetLastError());
    }
    void* const memory = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, size);
    const DWORD error = GetLastError();
    CloseHandle(mapping); // the view keeps it
    if (memory == nullptr) {
        fail("map", path, error);
    }
    bytes_ = {static_cast<std::uint8_t*>(memory), size};
}

MappedFile::~MappedFile()
{
    if (!bytes_.empty()) {
        UnmapViewOfFile(bytes_.data());
    }
}

} // namespace jlinksim::platform
