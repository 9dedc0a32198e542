#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jlinksim::platform {

/// A lock between processes that the kernel releases when its holder ends, however it ends.
class ProcessLock
{
public:
    enum class Purpose
    {
        hold,
        look, ///< for a moment: others may wait for its end
    };

    /// Null when another holder (of this or another process) has it. @throws FileError when the file cannot be used
    static std::optional<ProcessLock> try_acquire(const std::string& path, Purpose purpose);

    struct Holder
    {
        std::optional<std::uint32_t> process; ///< null when the kernel cannot name it
    };
    /// The other process that holds the lock now, unless it does so for a look; null when none does.
    static std::optional<Holder> holder(const std::string& path);

    ProcessLock(ProcessLock&& other) noexcept;
    ProcessLock& operator=(ProcessLock&& other) noexcept;
    ~ProcessLock();

private:
    explicit ProcessLock(std::intptr_t handle) : handle_(handle) {}
    std::intptr_t handle_ = -1;
};

} // namespace jlinksim::platform
