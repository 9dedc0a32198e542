#include "cli/rtt/cpu_watch.h"

#include <fmt/format.h>

namespace tessit::cli {

FirmwareExit::FirmwareExit(const SemihostingExit& exit)
    : Failure{ExitCode::verdict, fmt::format("the firmware {}", describe(exit)),
              "`tessit reset` starts it again, where it is to go on."},
      exit_{exit}
{
}

void CpuWatch::require_alive(std::string_view what) const
{
    if (options_.was_locked_up) {
        throw stopped_cpu(target_, CpuState::locked_up, what, options_.restart, ExitCode::verdict);
    }
    if (!is_halted()) {
        return;
    }
    if (const std::optional<SemihostingExit> exit = semihosting_exit(target_)) {
        throw FirmwareExit{*exit};
    }
    throw stopped_cpu(target_, CpuState::halted, what, options_.restart, ExitCode::verdict);
}

void CpuWatch::require_not_crashed(std::string_view what) const
{
    if (!options_.may_be_halted) {
        require_alive(what);
    }
}

void CpuWatch::require_sound(std::string_view what) const
{
    if (!is_connected() || is_halted()) {
        return;
    }
    const std::string trouble = describe_trouble(target_);
    target_.go();
    if (!trouble.empty()) {
        const Session& session = target_.session();
        throw Failure{ExitCode::verdict, fmt::format("{}: the CPU is {}", what, trouble),
                      fmt::format("`{}` starts the firmware again.", session.command_line("reset"))};
    }
}

bool CpuWatch::is_connected()
{
    bool connected = false;
    return TESSIT_is_connected_to_device(&connected) == RESULT_OK && connected;
}

// Without a connection there is no answer; whoever reads the channels notices that, and connects again.
bool CpuWatch::is_halted()
{
    bool halted = false;
    return is_connected() && TESSIT_is_halted(&halted) == RESULT_OK && halted;
}

} // namespace tessit::cli
