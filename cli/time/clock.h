/// The time by which commands wait and measure.
#pragma once

#include <chrono>
#include <memory>
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

} // namespace tessit::cli
