/// What the chip's CPU does; where it is and why when it stands still.
#pragma once

#include "cli/failure.h"
#include "cli/session/target.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessit::cli {

enum class CpuState : std::uint8_t
{
    running,
    sleeping, ///< it waits for an interrupt or an event
    halted,
    locked_up, ///< it cannot execute what it finds, and only a reset helps
};

/// "locked up"
const char* cpu_state_name(CpuState state);

/// What the CPU does, which goes on undisturbed: through the memory access port, and so only while the chip is not
/// connected. Nothing when the port does not answer, as that of a protected chip.
std::optional<CpuState> look_at_cpu(const Session& session);

/// What the CPU does a moment after it was set running, as above. The connection to the chip ends with it.
std::optional<CpuState> state_after_start(const Target& target);

/// The reset vector is blank: after a reset there is nothing to execute. Halts the CPU.
bool has_no_firmware(const Target& target);

/// Whether a halted CPU would lock up again, were it set running.
bool is_at_lock_up(const Target& target);

/// Of a halted CPU that is in a fault's handler, "in the HardFault handler: it met ...", or that would lock up again,
/// "locked up: ..."; empty of any other.
std::string describe_trouble(const Target& target);

struct CpuStop
{
    std::string text;         ///< "halted at 0x00000412: it met an undefined instruction (UNDEFINSTR)"
    bool is_without_firmware; ///< that is why
};

/// Of a CPU that is halted or locked up, and stays so.
CpuStop describe_stop(const Target& target, CpuState state);

/// What a command says of a CPU that it could not set running.
inline constexpr const char* does_not_run = "the firmware does not run";
/// Throws a Failure when the CPU stands still a moment after it was set running. The connection to the chip ends with
/// it.
void require_running(const Target& target);

/// "WHAT: the CPU is halted at ...", with what to do. `restart` are the words of a command that starts the firmware
/// again where that could help, otherwise empty.
/// `code` is for firmware that stopped, not for flash that has none.
Failure stopped_cpu(const Target& target, CpuState state, std::string_view what, std::string_view restart = {},
                    ExitCode code = ExitCode::failure);

} // namespace tessit::cli
