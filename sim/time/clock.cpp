#include "sim/time/clock.h"

#include <chrono>

namespace jlinksim {

std::uint64_t steady_host_time()
{
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(now.count());
}

Clock::Clock(bool real_time, HostTime host_time) : real_time_(real_time), host_time_(host_time)
{
    call_ends();
}

void Clock::call_begins()
{
    if (real_time_) {
        gaps_ += host_time_() - last_call_;
    }
}

void Clock::call_ends()
{
    if (real_time_) {
        last_call_ = host_time_();
    }
}

} // namespace jlinksim
