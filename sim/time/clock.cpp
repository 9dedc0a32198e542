#include "sim/time/clock.h"

#include <chrono>

namespace jlinksim {
namespace {

/// Gaps between calls shorter than this are the host computing; longer ones are the host sleeping.
constexpr std::uint64_t shortest_sleep_ns = 10'000'000;

} // namespace

std::uint64_t steady_host_time()
{
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(now.count());
}

Clock::Clock(bool real_time, HostTime host_time) : real_time_(real_time), host_time_(host_time), last_call_(host_time())
{
}

void Clock::call_begins()
{
    const std::uint64_t gap = host_time_() - last_call_;
    if (real_time_ || gap >= shortest_sleep_ns) {
        gaps_ += gap;
    }
}

void Clock::call_ends()
{
    last_call_ = host_time_();
}

} // namespace jlinksim
