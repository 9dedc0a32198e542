#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

/// What the simulation asks of the operating system: memory that lasts longer than the process, and a lock that does
/// not.
namespace jlinksim::platform {

/// A file of fixed size, mapped for shared reading and writing: what is written to it survives a kill at any instant.
class MappedFile
{
public:
    MappedFile() = default;
    /// Open or create. A new or shorter file is extended with zeros and its space allocated, so that a later write
    /// cannot run out of disk.
    /// @throws std::runtime_error with the path and the system's reason
    MappedFile(const std::filesystem::path& path, std::size_t size);
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    ~MappedFile();

    std::span<std::uint8_t> bytes() const { return bytes_; }

private:
    std::span<std::uint8_t> bytes_;
};

/// A lock between processes that the kernel releases when its holder ends, however it ends.
class ProcessLock
{
public:
    /// Null when another holder (of this or another process) has it.
    /// @throws std::runtime_error when the file cannot be opened
    static std::optional<ProcessLock> try_acquire(const std::filesystem::path& path);
    /// Process number that the file's last holder left in it; 0 when unknown.
    static std::uint32_t last_holder(const std::filesystem::path& path);

    ProcessLock(ProcessLock&& other) noexcept;
    ProcessLock& operator=(ProcessLock&& other) noexcept;
    ~ProcessLock();

private:
    explicit ProcessLock(std::intptr_t handle) : handle_(handle) {}
    std::intptr_t handle_ = -1;
};

/// Folder for what a user's programs keep between runs. @throws std::runtime_error when there is no home folder
std::filesystem::path user_state_folder();

} // namespace jlinksim::platform
