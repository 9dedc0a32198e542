#include "cli/time/clock.h"

#include "base/path.h"
#include "cli/failure.h"
#include "cli/platform/platform.h"

#include <fmt/format.h>
#include <jlinkarm_sim.h>
#include <thread>

namespace tessit::cli {
namespace {

template <typename Function>
Function find(const platform::Module& module, const char* name)
{
    void* const address = module.find(name);
    if (address == nullptr) {
        throw Failure{ExitCode::failure, fmt::format("the simulated J-Link library has no function {}", name),
                      "Use a command and a simulation of the same version."};
    }
    return reinterpret_cast<Function>(address);
}

} // namespace

struct Clock::Simulation
{
    explicit Simulation(const std::string& path) : module{base::path_of(path)} {}

    platform::Module module;
    decltype(&JLINKSIM_time_ns) time_ns = find<decltype(&JLINKSIM_time_ns)>(module, "JLINKSIM_time_ns");
    decltype(&JLINKSIM_pass_time) pass_time = find<decltype(&JLINKSIM_pass_time)>(module, "JLINKSIM_pass_time");
    decltype(&JLINKSIM_is_real_time) is_real_time =
        find<decltype(&JLINKSIM_is_real_time)>(module, "JLINKSIM_is_real_time");
};

Clock::Clock() = default;

Clock::Clock(const std::string& simulation) : simulation_{std::make_unique<Simulation>(simulation)}
{
    if (simulation_->is_real_time() == 1) {
        simulation_.reset();
    }
}

Clock::~Clock() = default;

Clock::Duration Clock::now() const
{
    return simulation_ ? Duration{static_cast<Duration::rep>(simulation_->time_ns())}
                       : Duration{std::chrono::steady_clock::now().time_since_epoch()};
}

void Clock::wait(Duration duration) const
{
    if (simulation_) {
        simulation_->pass_time(static_cast<std::uint64_t>(duration.count()));
    } else {
        std::this_thread::sleep_for(duration);
    }
}

} // namespace tessit::cli
