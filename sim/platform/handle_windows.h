#pragma once

#include <filesystem>
#include <utility>
#include <windows.h>

/// What the Windows side of this folder shares.
namespace jlinksim::platform {

/// A handle that closes itself.
class Handle
{
public:
    explicit Handle(HANDLE value) : value_(value) {}
    Handle(Handle&& other) noexcept : value_(other.release()) {}
    Handle& operator=(Handle&&) = delete;
    ~Handle()
    {
        if (value_ != INVALID_HANDLE_VALUE) {
            CloseHandle(value_);
        }
    }

    HANDLE get() const { return value_; }
    HANDLE release() { return std::exchange(value_, INVALID_HANDLE_VALUE); }

private:
    HANDLE value_;
};

/// Throws FileError with the system's reason; `error` is one of GetLastError.
[[noreturn]] void fail(const char* action, const std::filesystem::path& path, DWORD error);

/// Open a regular file for `access`; `creation` as CreateFile takes it. Others may read, write and rename it meanwhile.
Handle open_private(const std::filesystem::path& path, DWORD access, DWORD creation);

} // namespace jlinksim::platform
