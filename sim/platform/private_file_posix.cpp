#include "sim/platform/private_file_posix.h"

#include "sim/platform/file_error.h"
#include "sim/platform/private_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace jlinksim::platform {
namespace {

constexpr int first_free_descriptor = STDERR_FILENO + 1;
constexpr mode_t only_user = S_IRWXU;
constexpr mode_t for_everybody = 0666; // less what the user's mask takes away
constexpr mode_t others = S_IRWXG | S_IRWXO;
constexpr std::size_t small_file_bytes = 4096;

std::string reason_of(int error)
{
    switch (error) {
    case ELOOP:
        return "it is a symbolic link";
    case EEXIST:
        return "it exists already";
    default:
        return std::generic_category().message(error);
    }
}

struct stat status_of(const Descriptor& file, const std::filesystem::path& path)
{
    struct stat status
    {
    };
    if (::fstat(file.get(), &status) != 0) {
        fail("look at", path, errno);
    }
    return status;
}

/// Another user's file stays as he wants it.
void narrow(const Descriptor& file, const struct stat& status)
{
    if (status.st_uid == ::geteuid() && (status.st_mode & others) != 0) {
        ::fchmod(file.get(), status.st_mode & only_user);
    }
}

Descriptor open_above_streams(const std::filesystem::path& path, int flags, mode_t mode)
{
    Descriptor file{::open(path.c_str(), flags | O_CLOEXEC, mode)};
    if (file.get() < 0) {
        fail("open", path, errno);
    }
    if (file.get() >= first_free_descriptor) {
        return file;
    }
    Descriptor moved{::fcntl(file.get(), F_DUPFD_CLOEXEC, first_free_descriptor)};
    if (moved.get() < 0) {
        fail("open", path, errno);
    }
    return moved;
}

void write_all(const Descriptor& file, const std::filesystem::path& path, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = ::write(file.get(), content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            fail("write", path, errno);
        }
        content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

} // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : value_(other.release()) {}

Descriptor::~Descriptor()
{
    if (value_ >= 0) {
        ::close(value_);
    }
}

int Descriptor::release()
{
    return std::exchange(value_, -1);
}

void fail(const char* action, const std::filesystem::path& path, int error)
{
    throw FileError{fmt::format("cannot {} {}: {}", action, path.string(), reason_of(error))};
}

Descriptor open_private(const std::filesystem::path& path, int flags)
{
    Descriptor file = open_above_streams(path, flags | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
    const struct stat status = status_of(file, path);
    if (!S_ISREG(status.st_mode)) {
        throw FileError{fmt::format("cannot use {}: it is not a regular file", path.string())};
    }
    narrow(file, status);
    return file;
}

void create_private_folder(const std::filesystem::path& path)
{
    std::error_code ignored;
    const std::filesystem::path parent = path.parent_path();
    if (!parent.empty() && !std::filesystem::is_directory(parent, ignored)) {
        create_private_folder(parent);
    }
    if (::mkdir(path.c_str(), only_user) != 0 && errno != EEXIST) {
        fail("create", path, errno);
    }
    const Descriptor folder = open_above_streams(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW, 0);
    narrow(folder, status_of(folder, path));
}

std::optional<std::string> read_private_file(const std::filesystem::path& path)
{
    std::error_code ignored;
    if (std::filesystem::symlink_status(path, ignored).type() == std::filesystem::file_type::not_found) {
        return std::nullopt;
    }
    const Descriptor file = open_private(path, O_RDONLY);
    std::array<char, small_file_bytes> content{};
    const ssize_t length = ::pread(file.get(), content.data(), content.size(), 0);
    if (length < 0) {
        fail("read", path, errno);
    }
    return std::string{content.data(), static_cast<std::size_t>(length)};
}

void write_private_file(const std::filesystem::path& path, const std::string& content)
{
    const std::filesystem::path draft = path.string() + ".new";
    write_all(open_private(draft, O_WRONLY | O_CREAT | O_TRUNC), draft, content);
    if (::rename(draft.c_str(), path.c_str()) != 0) {
        fail("write", path, errno);
    }
}

void remove_file(const std::filesystem::path& path)
{
    std::error_code error;
    std::filesystem::remove(path, error);
    if (error) {
        fail("remove", path, error.value());
    }
}

void write_new_file(const std::filesystem::path& path, const std::string& content)
{
    const Descriptor file = open_above_streams(path, O_WRONLY | O_CREAT | O_EXCL, for_everybody);
    try {
        write_all(file, path, content);
    } catch (const FileError&) {
        ::unlink(path.c_str());
        throw;
    }
}

MappedFile::MappedFile(const std::filesystem::path& path, std::size_t size, Opening opening)
{
    const bool makes = opening == Opening::make;
    const Descriptor file = open_private(path, makes ? O_RDWR | O_CREAT : O_RDWR);
    const auto length = static_cast<off_t>(size);
    const off_t found = status_of(file, path).st_size;
    if (!makes && found != length) {
        throw FileError{fmt::format("cannot use {}: it holds {} bytes instead of {}", path.string(), found, size)};
    }
    if (makes && found > length && ::ftruncate(file.get(), length) != 0) {
        fail("shorten", path, errno);
    }
    // Allocating also what exists costs nothing, and fills the holes of a file that was copied sparsely.
    if (const int error = ::posix_fallocate(file.get(), 0, length); error != 0) {
        fail(fmt::format("reserve {} bytes for", size).c_str(), path, error);
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        fail("map", path, errno);
    }
    bytes_ = {static_cast<std::uint8_t*>(memory), size};
}

MappedFile::~MappedFile()
{
    if (!bytes_.empty()) {
        ::munmap(bytes_.data(), bytes_.size());
    }
}

} // namespace jlinksim::platform
