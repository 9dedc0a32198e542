#include "cli/firmware/file.h"

#include "base/file.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"
#include "cli/text/numbers.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

struct Closer
{
    void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT(cert-err33-c): only on the way of a failure
};
using File = std::unique_ptr<std::FILE, Closer>;

[[noreturn]] void fail(const char* verb, const fs::path& path, int error, const std::string& hint)
{
    if (error == EINTR) {
        throw Failure{ExitCode::interrupted, fmt::format("interrupted: {} is not complete", path.string())};
    }
    throw Failure{ExitCode::failure, fmt::format("cannot {} {}: {}", verb, path.string(), std::strerror(error)), hint};
}

constexpr const char* read_hint = "Check the path and that you may read the file.";
constexpr const char* write_hint = "Check the path, that you may write there, and that the disk has room.";

[[noreturn]] void refuse_size(const fs::path& path, std::uint64_t limit)
{
    throw Failure{ExitCode::failure, fmt::format("{}: has more than {}", path.string(), format_size(limit)),
                  "Check that this is the right file."};
}

void write_to(File file, const fs::path& shown, std::span<const std::uint8_t> bytes)
{
    if (!file) {
        fail("write", shown, errno, write_hint);
    }
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
        fail("write", shown, errno, write_hint);
    }
    if (std::fclose(file.release()) != 0) {
        fail("write", shown, errno, write_hint);
    }
}

// Removes the file that was made, unless it took the place of the one that is wanted.
class Draft
{
public:
    Draft() = default;
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    ~Draft()
    {
        std::error_code ignored;
        if (!path_.empty()) {
            fs::remove(path_, ignored);
        }
    }

    void write(const fs::path& target, const fs::path& shown, std::span<const std::uint8_t> bytes)
    {
        write_to(File{platform::create_beside(target, path_)}, shown, bytes);
        if (const int error = platform::replace_file(path_, target); error != 0) {
            fail("write", shown, error, write_hint);
        }
        path_.clear();
    }

private:
    fs::path path_;
};

} // namespace

std::string read_file(const fs::path& path, std::uint64_t limit)
{
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        fail("read", path, EISDIR, read_hint);
    }
    if (fs::is_regular_file(path, ignored) && fs::file_size(path, ignored) > limit) {
        refuse_size(path, limit);
    }
    const File file{base::open_file(path, "rb")};
    if (!file) {
        fail("read", path, errno, read_hint);
    }
    std::string content;
    std::array<char, 65536> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get())) {
        content.append(buffer.data(), count);
        if (content.size() > limit) { // a device or a pipe
            refuse_size(path, limit);
        }
    }
    if (std::ferror(file.get()) != 0) {
        fail("read", path, errno, read_hint);
    }
    return content;
}

void write_file(const fs::path& path, std::span<const std::uint8_t> bytes)
{
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        // A pipe may have nobody at its other end.
        const platform::InterruptDeferral deferral{platform::InterruptDeferral::Wait::ends};
        if (platform::is_interrupted()) {
            fail("write", path, EINTR, write_hint);
        }
        write_to(File{base::open_file(path, "wb")}, path, bytes);
        return;
    }
    if (fs::exists(status) && !platform::is_writable(path)) {
        fail("write", path, errno, write_hint);
    }
    // A link is followed, so that its target is replaced and not the link.
    Draft{}.write(fs::exists(status) ? fs::canonical(path) : path, path, bytes);
}

} // namespace tessit::cli
