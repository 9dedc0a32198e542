#pragma once

#include <chrono>
#include <cstdint>

namespace jlinksim {

/// The bench's time. Modelled time is the sum of what calls cost and is the same in every run. Hardware that a host
/// waits for by sleeping would never finish in it, so real time between calls is kept beside it.
class Clock
{
public:
    /// Gaps between calls shorter than this are the host computing; longer ones are the host sleeping, and count for
    /// `with_sleeps`.
    static constexpr std::chrono::nanoseconds shortest_sleep = std::chrono::milliseconds{10};

    explicit Clock(bool real_time) : real_time_(real_time) {}

    bool is_real_time() const { return real_time_; }

    /// Nanoseconds of modelled time since the bench was opened.
    std::uint64_t modelled() const { return modelled_; }
    void advance(std::uint64_t nanoseconds) { modelled_ += nanoseconds; }

    /// What flash, peripherals and CPU go by: modelled time, in real-time benches with every gap between calls.
    std::uint64_t device() const { return modelled_ + (real_time_ ? gaps_ : 0); }
    /// What operations go by that hosts sleep for: modelled time and the gaps in which the host slept.
    std::uint64_t with_sleeps() const { return modelled_ + gaps_; }

    void call_begins()
    {
        const std::chrono::nanoseconds gap = std::chrono::steady_clock::now() - last_call_;
        if (real_time_ || gap >= shortest_sleep) {
            gaps_ += static_cast<std::uint64_t>(gap.count());
        }
    }
    void call_ends() { last_call_ = std::chrono::steady_clock::now(); }

private:
    bool real_time_;
    std::uint64_t modelled_ = 0;
    std::uint64_t gaps_ = 0;
    std::chrono::steady_clock::time_point last_call_ = std::chrono::steady_clock::now();
};

} // namespace jlinksim
