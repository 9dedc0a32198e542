#include "sim/time/clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace jlinksim {
namespace {

// Calls that lasted too long, as a host's sleep does, shorten the next ones. What a busy machine or a slow simulation
// loses beyond this is lost: nobody is to see calls that take no time.
constexpr std::uint64_t longest_lag_ns = 250'000'000;

std::uint64_t steady_now()
{
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(now.count());
}

void sleep(std::uint64_t nanoseconds)
{
    std::this_thread::sleep_for(std::chrono::nanoseconds{nanoseconds});
}

} // namespace

const HostClock steady_host_clock{&steady_now, &sleep};

Clock::Clock(bool real_time, HostClock host) : real_time_(real_time), host_(host)
{
    if (real_time_) {
        call_began_ = last_call_ = host_.now();
    }
}

void Clock::call_begins()
{
    if (real_time_) {
        call_began_ = host_.now();
        cost_before_ = modelled_;
        gaps_ += call_began_ - last_call_;
    }
}

void Clock::call_ends()
{
    if (real_time_) {
        last_as_long_as_it_costs();
        last_call_ = host_.now();
    }
}

void Clock::last_as_long_as_it_costs()
{
    const std::uint64_t cost = modelled_ - cost_before_;
    const std::uint64_t due = cost - std::min(cost, lag_);
    if (const std::uint64_t lasted = host_.now() - call_began_; lasted < due) {
        host_.sleep(due - lasted);
    }
    const std::uint64_t lasted = host_.now() - call_began_;
    lag_ = std::min(lag_ + lasted - std::min(cost, lag_ + lasted), longest_lag_ns);
    cost_before_ = modelled_;
}

} // namespace jlinksim
