#include "cli/commands/probe_wait.h"

#include "cli/platform/platform.h"
#include "cli/session/probe_choice.h"
#include "cli/sim/bench.h"

#include <fmt/format.h>
#include <thread>

namespace tessit::cli {
namespace {

constexpr std::chrono::milliseconds between_looks{200};

bool may_pass(ExitCode code)
{
    return code == ExitCode::no_probe || code == ExitCode::no_target || code == ExitCode::probe_in_use;
}

} // namespace

ProbeWait::ProbeWait(const Settings& settings, const Console& console)
    : settings_{settings},
      console_{console},
      end_{std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::nanoseconds>(settings.wait.value_or(std::chrono::seconds{0}))}
{
}

std::vector<std::uint32_t> ProbeWait::choose(const Session& session)
{
    std::vector<std::uint32_t> attached = session.attached_probes();
    while (has_time() && !are_attached(settings_, attached)) {
        pause("the probe is not attached");
        attached = session.attached_probes();
    }
    return choose_probes(settings_, attached);
}

void ProbeWait::until_done(const std::function<void()>& attempt)
{
    for (;;) {
        try {
            attempt();
            return;
        } catch (const Failure& failure) {
            if (!may_pass(failure.code()) || !has_time()) {
                throw;
            }
            pause(failure.what());
        }
    }
}

void ProbeWait::pause(const std::string& reason)
{
    if (reason != told_) {
        told_ = reason;
        console_.note(fmt::format("Waiting: {} ...", reason));
    }
    {
        const platform::InterruptDeferral deferral{platform::InterruptDeferral::Wait::ends};
        std::this_thread::sleep_for(between_looks);
    }
    stop_if_interrupted("the probe was not begun");
    if (settings_.simulated) {
        Bench{}.open(); // what its file says may have changed
    }
}

} // namespace tessit::cli
