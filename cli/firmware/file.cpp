#include "cli/firmware/file.h"

#include "cli/failure.h"

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
    throw Failure{ExitCode::failure, fmt::format("cannot {} {}: {}", verb, path.string(), std::strerror(error)), hint};
}

constexpr const char* read_hint = "Check the path and that you may read the file.";
constexpr const char* write_hint = "Check the path, that you may write there, and that the disk has room.";

// Removes the half-written file unless it was completed.
class Draft
{
public:
    explicit Draft(fs::path path) : path_{std::move(path)} {}
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    ~Draft()
    {
        std::error_code ignored;
        if (!path_.empty()) {
            fs::remove(path_, ignored);
        }
    }

    const fs::path& path() const { return path_; }

    void complete_as(const fs::path& target)
    {
        std::error_code error;
        fs::rename(path_, target, error);
        if (error) {
            fail("write", target, error.value(), write_hint);
        }
        path_.clear();
    }

private:
    fs::path path_;
};

void write_through(const fs::path& path, const fs::path& shown, std::span<const std::uint8_t> bytes)
{
    File file{std::fopen(path.c_str(), "wb")};
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

} // namespace

std::string read_file(const fs::path& path)
{
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        fail("read", path, EISDIR, read_hint);
    }
    const File file{std::fopen(path.c_str(), "rb")};
    if (!file) {
        fail("read", path, errno, read_hint);
    }
    std::string content;
    std::array<char, 65536> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get())) {
        content.append(buffer.data(), count);
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
        write_through(path, path, bytes);
        return;
    }
    // A link is followed, so that its target is replaced and not the link.
    const fs::path target = fs::exists(status) ? fs::canonical(path) : path;
    Draft draft{fs::path{target}.concat(".partial")};
    write_through(draft.path(), path, bytes);
    draft.complete_as(target);
}

} // namespace tessit::cli
