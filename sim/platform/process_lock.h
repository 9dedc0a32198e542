#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jlinksim::platform {

/// A lock between processes that the kernel releases when its holder ends, however it ends.
class ProcessLock
{
public:
    /// Null when another holder (of this or another process) has it. @throws FileError when the file cannot be used
    static std::optional<ProcessLock> try_acquire(const std::string& path);
    /// Number of the other process that holds the lock now; null when none does, or the kernel cannot tell.
    static std::optional<std::uint32_t> holder(const std::string& path);

    ProcessLock(ProcessLock&& other) noexcept;
    ProcessLock& operator=(ProcessLock&& other) noexcept;
    ~ProcessLock();

private:
    explicit ProcessLock(std::intptr_t handle) : handle_(handle) {}
    std::intptr_t handle_ = -1;
};

} // namespace jlinksim::platform
