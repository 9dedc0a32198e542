#include "sim/platform/platform.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace jlinksim::platform {
namespace {

/// A file descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (value_ >= 0) {
            ::close(value_);
        }
    }
    int get() const { return value_; }
    int release() { return std::exchange(value_, -1); }

private:
    int value_;
};

[[noreturn]] void fail(const char* action, const std::filesystem::path& path, int error)
{
    throw std::runtime_error(
        fmt::format("Cannot {} {}: {}.", action, path.string(), std::generic_category().message(error)));
}

Descriptor open_for_writing(const std::filesystem::path& path)
{
    Descriptor file{::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)};
    if (file.get() < 0) {
        fail("open", path, errno);
    }
    return Descriptor{file.release()};
}

} // namespace

MappedFile::MappedFile(const std::filesystem::path& path, std::size_t size)
{
    const Descriptor file = open_for_writing(path);
    // Allocating also what exists costs nothing, and fills the holes of a file that was copied sparsely.
    const int error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(size));
    if (error != 0) {
        fail(fmt::format("reserve {} bytes for", size).c_str(), path, error);
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        fail("map", path, errno);
    }
    bytes_ = {static_cast<std::uint8_t*>(memory), size};
}

MappedFile::MappedFile(MappedFile&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept
{
    std::swap(bytes_, other.bytes_);
    return *this;
}

MappedFile::~MappedFile()
{
    if (!bytes_.empty()) {
        ::munmap(bytes_.data(), bytes_.size());
    }
}

std::optional<ProcessLock> ProcessLock::try_acquire(const std::filesystem::path& path)
{
    Descriptor file = open_for_writing(path);
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        fail("lock", path, errno);
    }
    const std::string holder = fmt::format("{}\n", ::getpid());
    // The number only informs the next one who asks; the lock holds without it.
    if (::ftruncate(file.get(), 0) != 0 || ::pwrite(file.get(), holder.data(), holder.size(), 0) < 0) {
        return ProcessLock{file.release()};
    }
    return ProcessLock{file.release()};
}

std::uint32_t ProcessLock::last_holder(const std::filesystem::path& path)
{
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    char text[16] = {};
    if (file.get() < 0 || ::pread(file.get(), text, sizeof text - 1, 0) <= 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

ProcessLock::ProcessLock(ProcessLock&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

ProcessLock& ProcessLock::operator=(ProcessLock&& other) noexcept
{
    std::swap(handle_, other.handle_);
    return *this;
}

ProcessLock::~ProcessLock()
{
    if (handle_ >= 0) {
        ::close(static_cast<int>(handle_));
    }
}

std::filesystem::path user_state_folder()
{
    if (const char* const folder = std::getenv("XDG_STATE_HOME"); folder != nullptr && *folder != '\0') {
        return folder;
    }
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return std::filesystem::path{home} / ".local" / "state";
    }
    throw std::runtime_error("Neither JLINKARM_SIM_STATE nor XDG_STATE_HOME nor HOME names a folder for the bench's "
                             "state. Set one of them.");
}

} // namespace jlinksim::platform
