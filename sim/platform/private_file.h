#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>

/// Files that nobody but their user reads or writes. They are regular files in folders of their own: symbolic links are
/// not followed, pipes and devices are refused. Everything here throws FileError, with the path and the reason.
namespace jlinksim::platform {

/// Create a folder, and those above it, for this user alone. One that is there is narrowed to this user when it is his.
void create_private_folder(const std::filesystem::path& path);

/// A small file's content; null when there is no such file.
std::optional<std::string> read_private_file(const std::filesystem::path& path);
/// The name appears at once with its whole content.
void write_private_file(const std::filesystem::path& path, const std::string& content);
/// Remove a file, or whatever has its name; none is fine.
void remove_file(const std::filesystem::path& path);

/// Write a file for everybody to read; one that is there is refused.
void write_new_file(const std::filesystem::path& path, const std::string& content);

/// A file of fixed size, mapped for shared reading and writing: what is written to it survives a kill at any instant.
class MappedFile
{
public:
    enum class Opening
    {
        existing, ///< it has to be there, and to have its size
        make,     ///< it is created, or cut or filled with zeros to its size
    };

    MappedFile() = default;
    /// Its space is allocated, so that a later write cannot run out of disk.
    MappedFile(const std::filesystem::path& path, std::size_t size, Opening opening);
    MappedFile(MappedFile&& other) noexcept : bytes_{std::exchange(other.bytes_, {})} {}
    MappedFile& operator=(MappedFile&& other) noexcept
    {
        std::swap(bytes_, other.bytes_);
        return *this;
    }
    ~MappedFile();

    std::span<std::uint8_t> bytes() const { return bytes_; }

private:
    std::span<std::uint8_t> bytes_;
};

} // namespace jlinksim::platform
