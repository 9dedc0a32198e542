"""What the command ``tessit`` does: firmware files, by the one planner that there is. docs/json.md is the contract."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
from typing import Any, Dict, Iterable, List, Mapping, Optional, Sequence, Tuple, Union

from . import location
from .errors import BadArgumentError, CommandError, command_error
from .log import logger

#: One serial number, several, or None for the one probe that is attached.
Probes = Union[None, int, str, Iterable[Union[int, str]]]
File = Union[str, "os.PathLike[str]"]

_WINDOWS = sys.platform == "win32"


def run_command(
    verb: str,
    *words: str,
    probe: Probes = None,
    jlink: Optional[location.Path] = None,
    sim: bool = False,
    speed: Optional[int] = None,
    command: Optional[location.Path] = None,
) -> Dict[str, Any]:
    """Run a verb of the command ``tessit`` and give what it prints with ``--json``.

    Ctrl-C is handed on once: the command ends at its next safe point, and then KeyboardInterrupt is raised.

    Args:
        verb: for example ``"info"``.
        words: the verb's arguments and options, as on a command line.
        probe: serial number, or several, which are worked on at the same time.
        jlink: the J-Link library; without it the command finds it.
        sim: the simulated bench: of an open :func:`tessit.sim.bench`, else the one that the environment names.
        speed: SWD speed in kHz, 125 to 50000; 4000 without it.
        command: the command; without it see :mod:`tessit.location`.

    Returns:
        The result; with several probes its ``probes`` is a list of them.

    Raises:
        TessitError: of the class that goes with the failure, CommandError for those that have none. Its `result` is
            what was printed.
    """
    if sim and jlink is not None:
        raise BadArgumentError("give sim or jlink, not both")
    arguments = [str(location.command(command)), verb, *words, "--json"]
    for serial in _serials(probe):
        arguments += ["--probe", serial]
    arguments += ["--sim"] if sim else []
    arguments += ["--jlink", os.fspath(jlink)] if jlink is not None else []
    arguments += ["--speed", str(speed)] if speed is not None else []
    return _result_of(*_run(arguments))


def _serials(probe: Probes) -> List[str]:
    if probe is None:
        return []
    if isinstance(probe, (int, str)):
        return [str(probe)]
    return [str(serial) for serial in probe]


def _run(arguments: Sequence[str]) -> Tuple[int, str, List[str]]:
    # In a group of its own, so that Ctrl-C reaches it through this process only: a second one would cut it short.
    group: Dict[str, Any] = (
        {"creationflags": getattr(subprocess, "CREATE_NEW_PROCESS_GROUP", 0)}
        if _WINDOWS
        else {"start_new_session": True}
    )
    logger.debug("running %s", arguments)
    with subprocess.Popen(
        arguments,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        encoding="utf-8",
        errors="replace",
        **group,
    ) as process:
        try:
            output, log = process.communicate()
        except BaseException:
            process.send_signal(getattr(signal, "CTRL_BREAK_EVENT", signal.SIGINT) if _WINDOWS else signal.SIGINT)
            process.communicate()
            raise
    lines = log.splitlines()
    for line in lines:
        logger.info("%s", line)
    return process.returncode, output, lines


def _result_of(exit_code: int, output: str, log: List[str]) -> Dict[str, Any]:
    """The last value of what was printed; `run` prints what the firmware says before it."""
    values: List[Dict[str, Any]] = []
    decoder = json.JSONDecoder()
    at = 0
    try:
        while output[at:].strip():
            at += len(output[at:]) - len(output[at:].lstrip())
            value, at = decoder.raw_decode(output, at)
            values.append(value)
    except ValueError:
        values.clear()
    if not values:
        raise CommandError(f"tessit ended with exit code {exit_code} and no result: {' '.join(log)}", log=log)
    result = values[-1]
    if len(values) > 1:
        result["lines"] = values[:-1]
    if "error" in result:
        raise command_error(result, log)
    if exit_code != 0:
        failed = [part for part in result.get("probes", ()) if "error" in part]
        told = "".join(f"\n  {part['probe']}: {part['error']['message']}" for part in failed)
        reason = told or " " + " ".join(line for line in log if line.startswith("Error:"))
        raise CommandError(
            f"tessit {result['command']} ended with exit code {exit_code}:{reason}", log=log, result=result
        )
    return result


def program(
    *files: File,
    reset: bool = False,
    verify: bool = True,
    erase: str = "pages",
    values: Optional[Mapping[int, int]] = None,
    recover: bool = False,
    allow_protect: bool = False,
    options: Sequence[str] = (),
    **where: Any,
) -> Dict[str, Any]:
    """Program firmware files: Intel HEX, S-record, ELF, or raw binary with its address, ``"app.bin@0x20000"``.

    Several files make one image. It is programmed in the cheapest way, an unchanged chip is left alone, and all that
    was written is compared. docs/command-line.md tells all of it.

    Args:
        files: the image.
        reset: reset the chip afterwards and let it run; without it the CPU stays halted.
        verify: compare afterwards.
        erase: ``"pages"`` that need it, ``"all"`` with the UICR, or ``"none"``.
        values: words of this unit's own, by their addresses.
        recover: recover a protected chip first, **which erases it**.
        allow_protect: accept an image that turns readback protection on.
        options: further options of the verb.
        where: as :func:`run_command`: `probe`, `jlink`, `sim`, `speed`, `command`.

    Returns:
        The result, for example its ``bytes_written``; see docs/json.md.

    Raises:
        ProtectedError, NoProbeError, NoTargetError, ProbeInUseError, VerifyMismatchError
        CommandError: all else, such as a malformed file, or some of several probes.
    """
    words = [os.fspath(file) for file in files]
    words += [f"{address:#x}={number:#x}" for address, number in (values or {}).items()]
    words += ["--erase", erase, *options]
    words += ["--reset"] if reset else []
    words += [] if verify else ["--no-verify"]
    words += ["--recover", "--yes"] if recover else []
    words += ["--allow-protect"] if allow_protect else []
    return run_command("program", *words, **where)


def verify(*files: File, options: Sequence[str] = (), **where: Any) -> Dict[str, Any]:
    """Compare the chip with firmware files; running firmware goes on afterwards.

    Args:
        files: as :func:`program`.
        options: further options of the verb.
        where: as :func:`run_command`.

    Raises:
        VerifyMismatchError: they differ; its `mismatches` are the first differing bytes.
    """
    return run_command("verify", *(os.fspath(file) for file in files), *options, **where)


def erase(*options: str, **where: Any) -> Dict[str, Any]:
    """Erase, and prove it: ``erase("--all")``, ``erase("--range", "0x1000-0x3000")``, ``erase("--uicr")``.

    Args:
        options: of the verb; without any it is refused.
        where: as :func:`run_command`.
    """
    return run_command("erase", *options, **where)


def recover(**where: Any) -> Dict[str, Any]:
    """Unlock a protected chip, or blank any chip, **by erasing everything in it**.

    Args:
        where: as :func:`run_command`.
    """
    return run_command("recover", "--yes", **where)
