#include "cli/rtt/cpu_watch.h"

namespace tessit::cli {

void CpuWatch::require_alive(std::string_view what) const
{
    if (options_.was_locked_up) {
        throw stopped_cpu(target_, CpuState::locked_up, what, options_.restart);
    }
    if (is_halted()) {
        throw stopped_cpu(target_, CpuState::halted, what, options_.restart);
    }
}

void CpuWatch::require_not_crashed(std::string_view what) const
{
    if (!options_.may_be_halted) {
        require_alive(what);
    }
}

// Without a connection there is no answer; whoever reads the channels notices that, and connects again.
bool CpuWatch::is_halted() const
{
    bool connected = false;
    bool halted = false;
    return TESSIT_is_connected_to_device(&connected) == RESULT_OK && connected &&
           TESSIT_is_halted(&halted) == RESULT_OK && halted;
}

} // namespace tessit::cli
