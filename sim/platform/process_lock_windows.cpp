#include "sim/platform/process_lock.h"

#include "base/path.h"
#include "sim/platform/handle_windows.h"

#include <utility>

namespace jlinksim::platform {
namespace {

// What is locked cannot be read by others, so the locked bytes lie far behind the file's end. A holder has both; the
// file itself holds its number, which means something only while it has the second.
enum class Byte : DWORD
{
    of_lock = 1,
    of_holder = 2,
};

OVERLAPPED place_of(Byte byte)
{
    OVERLAPPED place{};
    place.OffsetHigh = static_cast<DWORD>(byte);
    return place;
}

bool lock(const Handle& file, Byte byte, DWORD flags)
{
    OVERLAPPED place = place_of(byte);
    return LockFileEx(file.get(), flags, 0, 1, 0, &place) != 0;
}

Handle open_lock(const std::string& path)
{
    return open_private(tessit::base::path_of(path), GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS);
}

void leave_number(const Handle& file)
{
    const DWORD number = GetCurrentProcessId();
    OVERLAPPED begin{};
    DWORD written = 0;
    WriteFile(file.get(), &number, sizeof number, &written, &begin);
}

std::optional<std::uint32_t> read_number(const Handle& file)
{
    DWORD number = 0;
    OVERLAPPED begin{};
    DWORD length = 0;
    const bool has_read = ReadFile(file.get(), &number, sizeof number, &length, &begin) != 0;
    return has_read && length == sizeof number ? std::optional<std::uint32_t>{number} : std::nullopt;
}

} // namespace

std::optional<ProcessLock> ProcessLock::try_acquire(const std::string& path, Purpose purpose)
{
    Handle file = open_lock(path);
    if (!lock(file, Byte::of_lock, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY)) {
        const DWORD error = GetLastError();
        if (error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING) {
            return std::nullopt;
        }
        fail("lock", tessit::base::path_of(path), error);
    }
    if (purpose == Purpose::hold) {
        leave_number(file);
        // Waits at most for one who looks whether it is locked.
        if (!lock(file, Byte::of_holder, LOCKFILE_EXCLUSIVE_LOCK)) {
            fail("lock", tessit::base::path_of(path), GetLastError());
        }
    }
    return ProcessLock{reinterpret_cast<std::intptr_t>(file.release())};
}

std::optional<ProcessLock::Holder> ProcessLock::holder(const std::string& path)
{
    const Handle file = open_lock(path);
    // Shared: who looks at the same time is not in the way. Closing the file unlocks it.
    if (lock(file, Byte::of_holder, LOCKFILE_FAIL_IMMEDIATELY)) {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> number = read_number(file);
    return number == GetCurrentProcessId() ? std::nullopt : std::optional{Holder{number}};
}

ProcessLock::ProcessLock(ProcessLock&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

ProcessLock& ProcessLock::operator=(ProcessLock&& other) noexcept
{
    std::swap(handle_, other.handle_);
    return *this;
}

ProcessLock::~ProcessLock()
{
    // The handle's locks go with it, but at a time of the system's choice.
    const Handle file{reinterpret_cast<HANDLE>(handle_)};
    for (const Byte byte : {Byte::of_holder, Byte::of_lock}) {
        OVERLAPPED place = place_of(byte);
        UnlockFileEx(file.get(), 0, 1, 0, &place);
    }
}

} // namespace jlinksim::platform
