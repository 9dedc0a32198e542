#pragma once

#include <chrono>

namespace tessit {

/// A request to a probe on USB high speed and its answer: two microframes of 125 us.
inline constexpr std::chrono::microseconds shortest_request{250};

/// The bound of a wait that asks again and again without a delay. On hardware the time decides, since an answer takes
/// the probe its shortest time at best. Where answers come faster, from a J-Link library that only models its time, so
/// many of them as fit into the time decide: the wait ends after the same calls on every host.
class PollBound
{
public:
    PollBound(std::chrono::milliseconds time, std::chrono::microseconds shortest_answer)
        : end_(Clock::now() + time), answers_left_(time / shortest_answer)
    {
    }

    /// Asked after each answer that was not the awaited one.
    bool is_reached() { return --answers_left_ <= 0 || Clock::now() >= end_; }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point end_;
    std::chrono::milliseconds::rep answers_left_;
};

} // namespace tessit
