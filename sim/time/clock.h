#pragma once

#include <cstdint>

namespace jlinksim {

/// Nanoseconds on the host's clock, from any instant on.
using HostTime = std::uint64_t (*)();
std::uint64_t steady_host_time();

/// The bench's time. Modelled time is the sum of what calls cost and is the same in every run. Hardware that a host
/// waits for by sleeping would never finish in it, so real time between calls is kept beside it.
class Clock
{
public:
    explicit Clock(bool real_time, HostTime host_time = steady_host_time);

    bool is_real_time() const { return real_time_; }

    /// Nanoseconds of modelled time since the bench was opened.
    std::uint64_t modelled() const { return modelled_; }
    void advance(std::uint64_t nanoseconds) { modelled_ += nanoseconds; }

    /// What flash, peripherals and CPU go by: modelled time, in real-time benches with every gap between calls.
    std::uint64_t device() const { return modelled_ + (real_time_ ? gaps_ : 0); }
    /// What operations go by that hosts sleep for: modelled time and the gaps in which the host slept.
    std::uint64_t with_sleeps() const { return modelled_ + gaps_; }

    void call_begins();
    void call_ends();

private:
    bool real_time_;
    HostTime host_time_;
    std::uint64_t modelled_ = 0;
    std::uint64_t gaps_ = 0;
    std::uint64_t last_call_; ///< on the host's clock
};

} // namespace jlinksim
