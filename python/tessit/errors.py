"""What goes wrong, as exceptions.

What one catches apart has a class of its own, whether a call of the library or the command ``tessit`` told it. Every
one is a :class:`TessitError`.
"""

from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Type, Union

from .constants import LOG_JLINK_MARK, LOG_PROGRESS, LOG_SEPARATOR, ResultCode


class TessitError(Exception):
    """A failure of this package, the library below it, or the command.

    Attributes:
        message: what failed, and why.
        hint: what to do next, or "".
        code: the library's result, or None where no call of it failed.
        operation: the call that failed, without ``TESSIT_``, or the command's verb.
        log: the lines of the failing call's log, or the command's lines on standard error.
        result: what the command printed as JSON, or None.
    """

    def __init__(
        self,
        message: str,
        *,
        hint: str = "",
        code: Optional[ResultCode] = None,
        operation: str = "",
        log: Sequence[str] = (),
        result: Optional[Dict[str, Any]] = None,
    ) -> None:
        super().__init__(message)
        self.message = message
        self.hint = hint
        self.code = code
        self.operation = operation
        self.log = tuple(log)
        self.result = result

    @property
    def name(self) -> str:
        """``ERR_PROTECTED`` of a call, ``verify_mismatch`` of the command, or ""."""
        if self.code is not None:
            return self.code.name if isinstance(self.code, ResultCode) else str(self.code)
        return str(self.result["error"]["name"]) if self.result and "error" in self.result else ""

    def __str__(self) -> str:
        return f"{self.message}\nHint: {self.hint}" if self.hint else self.message


class NoProbeError(TessitError):
    """No probe is attached, not the one that was asked for, or the connection to it was lost."""


class ProbeInUseError(TessitError):
    """Another program, or another process, holds the probe."""


class NoTargetError(TessitError):
    """The chip does not answer, or is not a known one."""


class LowVoltageError(NoTargetError):
    """The target's supply is below 1500 mV."""


class ProtectedError(TessitError):
    """Readback protection forbids the operation."""


class VerifyMismatchError(TessitError):
    """The chip holds something else than it should.

    Attributes:
        mismatches: the first differing bytes: address, expected, found.
    """

    mismatches: List[Tuple[int, int, int]] = []


class WrongStateError(TessitError):
    """The call is out of order."""


class SecondSessionError(WrongStateError):
    """This process has a session already: a J-Link library holds one a process."""


class BadArgumentError(TessitError, ValueError):
    """An argument makes no sense."""


class UnsupportedError(TessitError):
    """Not available on this chip."""


class FlashTimeoutError(TessitError):
    """The flash controller, or the external flash, never became ready."""


class RecoverFailedError(TessitError):
    """The recovery did not succeed."""


class JLinkError(TessitError):
    """The J-Link library reported a failure."""


class LibraryNotFoundError(TessitError):
    """A shared library or the command is missing, or does not load."""


class RttTimeoutError(TessitError):
    """The firmware did not say in time what was awaited.

    Attributes:
        said: what it said meanwhile.
    """

    said = ""


class CommandError(TessitError):
    """The command ``tessit`` failed for another reason than those that have a class."""

    @property
    def exit_code(self) -> int:
        """The command's exit code."""
        return int(self.result["error"]["code"]) if self.result and "error" in self.result else 1


class SimulationError(TessitError):
    """The simulated bench refused something."""


class RecordsError(SimulationError):
    """The simulation recorded what a real chip would not have forgiven.

    Attributes:
        records: the lines.
    """

    records: Tuple[str, ...] = ()


class _Meaning(NamedTuple):
    error: Type[TessitError]
    words: str
    hint: str = ""


_MEANINGS: Dict[ResultCode, _Meaning] = {
    ResultCode.ERR_NO_MEMORY: _Meaning(TessitError, "not enough memory"),
    ResultCode.ERR_WRONG_STATE: _Meaning(WrongStateError, "the call is out of order"),
    ResultCode.ERR_BAD_ARGUMENT: _Meaning(BadArgumentError, "an argument is invalid"),
    ResultCode.ERR_UNSUPPORTED_ON_DEVICE: _Meaning(UnsupportedError, "this chip does not support it"),
    ResultCode.ERR_UNKNOWN_DEVICE: _Meaning(
        NoTargetError, "the chip is not a known Birch chip", "Check that the probe is wired to the right board."
    ),
    ResultCode.ERR_PROBE_NOT_FOUND: _Meaning(
        NoProbeError, "no probe with this serial number is attached", "library.probes() lists the attached probes."
    ),
    ResultCode.ERR_TARGET_CONNECT_FAILED: _Meaning(
        NoTargetError, "the chip does not answer", "Check the SWD wires and the supply, or try a lower speed."
    ),
    ResultCode.ERR_TARGET_LOW_VOLTAGE: _Meaning(
        LowVoltageError,
        "the target's supply is below 1.5 V",
        "Switch the board's supply on and check the probe's VTref wire.",
    ),
    ResultCode.ERR_NO_PROBE_ATTACHED: _Meaning(
        NoProbeError,
        "no probe is attached",
        "Plug a J-Link probe in; on Linux check the udev rules of the J-Link software.",
    ),
    ResultCode.ERR_FLASH_CONTROLLER_TIMEOUT: _Meaning(
        FlashTimeoutError, "the flash never became ready", "Check that the supply is stable, then try again."
    ),
    ResultCode.ERR_RECOVER_FAILED: _Meaning(
        RecoverFailedError, "the recovery did not succeed", "Power the board off and on, then recover it again."
    ),
    ResultCode.ERR_PROTECTED: _Meaning(
        ProtectedError,
        "the chip is readback-protected",
        "probe.recover() unprotects it and erases everything in it: flash, UICR and RAM.",
    ),
    ResultCode.ERR_JLINK_LOAD_FAILED: _Meaning(
        LibraryNotFoundError,
        "the J-Link library cannot be loaded",
        "Check that the path names the J-Link library, and that it is for this machine.",
    ),
    ResultCode.ERR_JLINK_CALL_FAILED: _Meaning(
        JLinkError,
        "the J-Link library reported an error",
        "Check that the chip has something at that address, and the wires to it.",
    ),
    ResultCode.ERR_JLINK_TOO_OLD: _Meaning(
        LibraryNotFoundError, "the J-Link library is older than 5.02", "Update the J-Link software."
    ),
    ResultCode.ERR_UNEXPECTED_CHIP_VERSION: _Meaning(UnsupportedError, "it is not known for this chip version"),
}

_LOST = _Meaning(
    NoProbeError, "the connection to the probe was lost", "Check the probe's USB cable, then open the probe again."
)
_IN_USE = _Meaning(
    ProbeInUseError, "the probe is in use", "Close the other program. Each probe serves one process at a time."
)


def what_was_said(log: Sequence[str]) -> str:
    """The reason in the lines of a failing call: the last complaint, and what the J-Link library said before it."""
    complaint = jlink_text = reason = ""
    for line in log:
        _, separator, message = line.partition(LOG_SEPARATOR)
        message = message.rstrip(" .\r\n")
        if not separator:
            jlink_text = ""
        elif message.startswith(LOG_JLINK_MARK):
            jlink_text = message[len(LOG_JLINK_MARK) :]
        elif not message.startswith(LOG_PROGRESS):
            complaint, reason, jlink_text = message, jlink_text, ""
    return f"{complaint} ({reason})" if complaint and reason else complaint


def call_error(
    code: Union[ResultCode, int], call: str, operation: str, log: Sequence[str], lost_probe: bool = False
) -> TessitError:
    """The exception of a call that failed: of `code`, in words `call`, with the lines of its log."""
    said = what_was_said(log)
    meaning = _MEANINGS.get(ResultCode(code)) if code in _MEANINGS else _Meaning(TessitError, f"result {int(code)}")
    assert meaning is not None
    if lost_probe:
        meaning = _LOST
    elif code == ResultCode.ERR_JLINK_CALL_FAILED and "in use" in said:  # it has no code for it
        meaning = _IN_USE
    hint = meaning.hint
    if operation.endswith("_port_register") and code == ResultCode.ERR_WRONG_STATE and not said:
        said, hint = "the chip is connected", "probe.disconnect() first."
    name = code.name if isinstance(code, ResultCode) else int(code)
    message = f"{call}: {meaning.words}{': ' if said else ''}{said} ({name})"
    known = code if isinstance(code, ResultCode) else None
    return meaning.error(message, hint=hint, code=known, operation=operation, log=log)


_COMMAND_ERRORS: Dict[str, Type[TessitError]] = {
    "no_probe": NoProbeError,
    "no_target": NoTargetError,
    "protected": ProtectedError,
    "verify_mismatch": VerifyMismatchError,
    "probe_in_use": ProbeInUseError,
}


def command_error(result: Dict[str, Any], log: Sequence[str]) -> TessitError:
    """The exception of a command that failed, of its JSON."""
    told = result["error"]
    error = _COMMAND_ERRORS.get(told["name"], CommandError)(
        f"tessit {result['command'] or ''}: {told['message']}",
        hint=told["hint"],
        operation=result["command"] or "",
        log=log,
        result=result,
    )
    if isinstance(error, VerifyMismatchError):
        error.mismatches = [(at["address"], at["expected"], at["found"]) for at in told.get("mismatches", ())]
    return error
