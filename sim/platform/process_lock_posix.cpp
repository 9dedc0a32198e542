#include "sim/platform/process_lock.h"

#include "sim/platform/private_file_posix.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace jlinksim::platform {
namespace {

struct flock whole_file()
{
    struct flock range
    {
    };
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

} // namespace

std::optional<ProcessLock> ProcessLock::try_acquire(const std::string& path, Purpose purpose)
{
    Descriptor file = open_private(path, O_RDWR | O_CREAT);
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        fail("lock", path, errno);
    }
    // A second lock, of the kind whose holder the kernel can name. It locks nobody out: it may go with any descriptor
    // of the file that this process closes.
    if (purpose == Purpose::hold) {
        struct flock range = whole_file();
        ::fcntl(file.get(), F_SETLK, &range);
    }
    return ProcessLock{file.release()};
}

std::optional<ProcessLock::Holder> ProcessLock::holder(const std::string& path)
{
    const Descriptor file = open_private(path, O_RDWR | O_CREAT);
    struct flock range = whole_file();
    if (::fcntl(file.get(), F_GETLK, &range) != 0 || range.l_type == F_UNLCK) {
        return std::nullopt;
    }
    // A holder in another container has no number here.
    return Holder{range.l_pid > 0 ? std::optional{static_cast<std::uint32_t>(range.l_pid)} : std::nullopt};
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

} // namespace jlinksim::platform
