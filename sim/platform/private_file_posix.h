#pragma once

#include <filesystem>

/// What the POSIX side of this folder shares.
namespace jlinksim::platform {

/// A file descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor();

    int get() const { return value_; }
    int release();

private:
    int value_;
};

[[noreturn]] void fail(const char* action, const std::filesystem::path& path, int error);

/// Open a regular file, narrowed to this user when it is his. Never waits, and never takes the place of a standard
/// stream that is closed: what the program prints would go into the file.
Descriptor open_private(const std::filesystem::path& path, int flags);

} // namespace jlinksim::platform
