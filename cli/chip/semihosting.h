/// What firmware asks its debugger for by the instruction BKPT 0xAB. Nothing of it is served but its end.
#pragma once

#include "cli/session/target.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tessit::cli {

/// Number of the call for which a halted CPU waits; nothing when it waits for none.
std::optional<std::uint32_t> semihosting_call(const Target& target);

struct SemihostingExit
{
    std::uint32_t reason;             ///< as the firmware gives it
    std::optional<std::int64_t> code; ///< its exit code; nothing when it ended for another reason than its own end
};

/// The firmware has ended itself: SYS_EXIT, or SYS_EXIT_EXTENDED with a code. Of a halted CPU.
std::optional<SemihostingExit> semihosting_exit(const Target& target);

/// "ended with exit code 7"
std::string describe(const SemihostingExit& exit);

} // namespace tessit::cli
