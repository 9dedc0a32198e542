/// Notices that the firmware has stopped while the console waits for its words.
#pragma once

#include "cli/chip/cpu_state.h"
#include "cli/chip/semihosting.h"

#include <string>

namespace tessit::cli {

/// The firmware stands still because it has ended itself.
class FirmwareExit : public Failure
{
public:
    explicit FirmwareExit(const SemihostingExit& exit);
    const SemihostingExit& exit() const noexcept { return exit_; }

private:
    SemihostingExit exit_;
};

/// Only asks whether the CPU is halted, which takes nothing of its time. A CPU that was locked up before the chip was
/// connected is taken for locked up: what would tell afterwards halts it.
class CpuWatch
{
public:
    struct Options
    {
        bool was_locked_up = false;
        bool may_be_halted = false; ///< the user left it halted
        std::string restart;        ///< words of a command that starts the firmware again; may be empty
    };

    CpuWatch(const Target& target, Options options) : target_{target}, options_{std::move(options)} {}

    /// Throws a Failure when nothing is to be expected any longer: "WHAT: the CPU is halted at ...", or a FirmwareExit.
    void require_alive(std::string_view what) const;
    /// As above, but a CPU that the user left halted is alive.
    void require_not_crashed(std::string_view what) const;

    /// At the end of a wait that was in vain: halts a running CPU for a moment, and throws when it is locked up or in a
    /// fault's handler.
    void require_sound(std::string_view what) const;

private:
    static bool is_connected();
    static bool is_halted();

    const Target& target_;
    Options options_;
};

} // namespace tessit::cli
