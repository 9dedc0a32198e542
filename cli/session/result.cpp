#include "cli/session/result.h"

#include <algorithm>
#include <array>

namespace tessit::cli {
namespace {

constexpr ResultText unknown_result{RESULT_OK, "?", ExitCode::failure, "the library gave a result that is not known",
                                    "Use a command and a library of the same version."};

constexpr std::array results{
    ResultText{ERR_NO_MEMORY, "ERR_NO_MEMORY", ExitCode::failure, "memory is exhausted", "Close other programs."},
    ResultText{ERR_WRONG_STATE, "ERR_WRONG_STATE", ExitCode::failure, "it is not possible in the state of the session",
               "Run the command again with -v to see what happened."},
    ResultText{ERR_BAD_ARGUMENT, "ERR_BAD_ARGUMENT", ExitCode::usage, "a value is not valid",
               "Run the command again with -v to see which."},
    ResultText{ERR_UNSUPPORTED_ON_DEVICE, "ERR_UNSUPPORTED_ON_DEVICE", ExitCode::usage,
               "this chip version does not support it", "`tessit info` shows the chip version."},
    ResultText{ERR_UNKNOWN_DEVICE, "ERR_UNKNOWN_DEVICE", ExitCode::no_target, "the chip is not a known Birch chip",
               "Check that the probe is wired to the right board."},
    ResultText{ERR_PROBE_NOT_FOUND, "ERR_PROBE_NOT_FOUND", ExitCode::no_probe, "the probe is not attached",
               "`tessit list` shows the attached probes."},
    ResultText{ERR_TARGET_CONNECT_FAILED, "ERR_TARGET_CONNECT_FAILED", ExitCode::no_target, "the chip does not answer",
               "Check the SWD wires and the supply, or try a lower --speed."},
    ResultText{ERR_TARGET_LOW_VOLTAGE, "ERR_TARGET_LOW_VOLTAGE", ExitCode::no_target,
               "the target's supply is below 1.5 V", "Switch the board's supply on and check the probe's VTref wire."},
    ResultText{ERR_NO_PROBE_ATTACHED, "ERR_NO_PROBE_ATTACHED", ExitCode::no_probe, "no probe is attached",
               "Plug a J-Link probe in; on Linux check the udev rules of the J-Link software."},
    ResultText{ERR_FLASH_CONTROLLER_TIMEOUT, "ERR_FLASH_CONTROLLER_TIMEOUT", ExitCode::failure,
               "the flash controller never became ready",
               "Check that the supply is stable, then run the command again."},
    ResultText{ERR_RECOVER_FAILED, "ERR_RECOVER_FAILED", ExitCode::failure, "the recovery did not succeed",
               "Power the board off and on, then run `tessit recover` again."},
    ResultText{ERR_PROTECTED, "ERR_PROTECTED", ExitCode::is_protected, "the chip is readback-protected", ""},
    ResultText{ERR_JLINK_LOAD_FAILED, "ERR_JLINK_LOAD_FAILED", ExitCode::failure, "the J-Link library cannot be loaded",
               "Install the J-Link software, or name its library with --jlink PATH."},
    ResultText{ERR_JLINK_CALL_FAILED, "ERR_JLINK_CALL_FAILED", ExitCode::failure,
               "the J-Link library reported an error",
               "Check the probe's cable, the wires to the chip, and that no other program uses the probe; then run the "
               "command again."},
    ResultText{ERR_JLINK_TOO_OLD, "ERR_JLINK_TOO_OLD", ExitCode::failure, "the J-Link library is older than 5.02",
               "Update the J-Link software."},
    ResultText{ERR_UNEXPECTED_CHIP_VERSION, "ERR_UNEXPECTED_CHIP_VERSION", ExitCode::failure,
               "it is not known for this chip version", "`tessit info` shows the chip version."},
};

} // namespace

const ResultText& result_text(result_code_t code)
{
    const auto* const found = std::ranges::find(results, code, &ResultText::code);
    return found == results.end() ? unknown_result : *found;
}

} // namespace tessit::cli
