/// Programs that run beside us.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tessit::cli::platform {

/// A program with nothing to read, whose two streams come to us. A Ctrl-C on the terminal is for us alone: it belongs
/// to a group of its own. It is told to end when we do.
class Process
{
public:
    /// Throws a Failure when it cannot be started.
    Process(const std::filesystem::path& program, const std::vector<std::string>& arguments);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /// Tells it to end and waits for that.
    ~Process();

    /// As a Ctrl-C would.
    void interrupt() const;

    /// Waits until one of them has said something or has ended, or the time is over; Ctrl-C cuts the wait short.
    static void wait_for_any(std::span<Process* const> processes, std::chrono::milliseconds longest);

    /// What it has said since the last time.
    std::string take_output();
    std::string take_errors();

    bool has_ended() const;
    /// Of one that has ended: 128 and the signal when a signal ended it.
    int exit_code() const;

private:
    struct System; ///< each operating system's own
    std::unique_ptr<System> system_;
};

} // namespace tessit::cli::platform
