/// The time by which commands wait and measure.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace tessit::cli {

/// The time that the chip lives in. With a real chip that is the host's. With a simulated one it is modelled time,
/// which passes only in calls and in waits, so that what a command does and says does not depend on the machine's load.
class Clock
{
public:
    using Duration = std::chrono::nanoseconds;

    /// The host's time.
    Clock();
    /// Of the simulated J-Link library at this path, whose bench decides: one with `real_time` goes by the host's time.
    explicit Clock(const std::string& simulation);
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    ~Clock();

    /// Since a moment that does not change.
    Duration now() const;
    void wait(Duration duration) const;
    /// It stands still but for calls and waits: who waits for something else than time has to let time pass beside it.
    bool is_modelled() const { return simulation_ != nullptr; }

private:
    struct Simulation;
    std::unique_ptr<Simulation> simulation_; ///< null: the host's time
};

/// How long something takes.
class Stopwatch
{
public:
    explicit Stopwatch(const Clock& clock) : clock_{clock}, chip_begin_{clock.now()} {}

    /// By the host's clock.
    double seconds() const { return std::chrono::duration<double>{std::chrono::steady_clock::now() - begin_}.count(); }
    /// By the chip's, where it is modelled.
    std::optional<double> modelled_seconds() const
    {
        return clock_.is_modelled() ? std::optional{std::chrono::duration<double>{clock_.now() - chip_begin_}.count()}
                                    : std::nullopt;
    }

private:
    const Clock& clock_;
    Clock::Duration chip_begin_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

} // namespace tessit::cli
