"""A bench of simulated probes and chips in this process."""

from __future__ import annotations

import contextlib
import ctypes
import os
import pathlib
import tempfile
from types import TracebackType
from typing import Any, Iterator, List, Mapping, NamedTuple, Optional, Sequence, Tuple, Type

from .. import buffers, location, native
from ..errors import BadArgumentError, RecordsError, SimulationError
from ..library import Library
from ..log import LogCallback
from ..probe import Probe
from .board import DEFAULT_VERSION, Board, toml
from .control import Control, FaultStructure, ProbeStructure

_FIRST_SERIAL = 600000001

_open: Optional["Bench"] = None


class ProbeState(NamedTuple):
    """A probe of the bench and its chip, as they are now. Sizes are in bytes."""

    serial: int
    is_plugged: bool
    is_in_use: bool
    supply_mv: int
    firmware: str
    chip_version: str
    is_protected: bool
    flash_bytes: int
    flash_page_bytes: int
    flash_used_bytes: int
    is_uicr_blank: bool
    ram_bytes: int
    external_flash_bytes: int
    state_folder: str


class Bench:
    """A bench that is open in this process; :func:`tessit.sim.bench` makes one.

    While it is open the environment names it (``JLINKARM_SIM_BENCH``, ``JLINKARM_SIM_STATE``), so that commands and
    processes that are started meanwhile work on it, too.
    """

    def __init__(
        self, boards: Sequence[Board], file: Optional[location.Path], real_time: bool, strict: bool, library: Control
    ) -> None:
        self._boards = boards
        self._given_file = file
        self._real_time = real_time
        self._control = library
        self._expected: List[str] = []
        self._stack = contextlib.ExitStack()
        #: Whether a record that is not expected is a failure when the bench is closed.
        self.strict = strict

    def __enter__(self) -> Bench:
        global _open
        if _open is not None:
            raise SimulationError(
                "a bench is open in this process, and there is one at a time",
                hint="Give one bench several boards: tessit.sim.bench(boards=[...]).",
            )
        with contextlib.ExitStack() as stack:
            folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="tessit-bench-")))
            state = {"JLINKARM_SIM_BENCH": str(self._file_in(folder)), "JLINKARM_SIM_STATE": str(folder / "chips")}
            stack.enter_context(_environment(state))
            self._control.call("open_bench", None)
            stack.callback(self._close)
            self._stack = stack.pop_all()
        _open = self
        return self

    def _file_in(self, folder: pathlib.Path) -> pathlib.Path:
        if self._given_file is not None:
            return pathlib.Path(self._given_file).absolute()
        path = folder / "bench.toml"
        heading = f"real_time = {toml(self._real_time)}\n"
        boards = [board.table(_FIRST_SERIAL + index) for index, board in enumerate(self._boards)]
        path.write_text(heading + "".join(boards), encoding="utf-8")
        return path

    def _close(self) -> None:
        global _open
        _open = None
        native.close_session_with(self._control.path)
        self._control.call("close_bench")

    def __exit__(
        self, kind: Optional[Type[BaseException]], exception: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        with self._stack:
            if exception is None and self.strict:
                native.close_session_with(self._control.path)  # what it leaves on is recorded, too
                self.require_no_records()

    # ---- the way to the library

    @property
    def jlink(self) -> pathlib.Path:
        """The simulated J-Link library."""
        return self._control.path

    def library(self, *, log: Optional[LogCallback] = None) -> Library:
        """The library, opened with the simulation; see :class:`tessit.Library`."""
        return Library(self.jlink, log=log)

    @contextlib.contextmanager
    def probe(self, serial: Optional[int] = None, speed: int = 4000) -> Iterator[Probe]:
        """A session with a probe of the bench, the first one unless it is named, for a ``with`` statement."""
        with self.library() as library, library.probe(serial or self.serial, speed) as probe:
            yield probe

    # ---- what is on it

    @property
    def path(self) -> pathlib.Path:
        """The bench file."""
        return pathlib.Path(self._control.call("bench_path"))

    @property
    def serial(self) -> int:
        """Serial number of the first probe."""
        return self.serials[0]

    @property
    def serials(self) -> List[int]:
        """Serial numbers of all probes."""
        return [state.serial for state in self.describe()]

    def describe(self) -> List[ProbeState]:
        """All probes and their chips."""
        states = []
        for index in range(self._control.call("count_probes")):
            place = ProbeStructure()
            self._control.call("describe_probe", index, ctypes.byref(place))
            states.append(
                ProbeState(
                    place.serial_number,
                    bool(place.plugged),
                    bool(place.in_use),
                    place.supply_millivolts,
                    place.firmware_text.decode(),
                    place.chip_version.decode(),
                    bool(place.chip_protected),
                    place.flash_bytes,
                    place.flash_page_bytes,
                    place.flash_used_bytes,
                    bool(place.uicr_blank),
                    place.ram_bytes,
                    place.external_flash_bytes,
                    place.state_folder.decode(),
                )
            )
        return states

    # ---- what is done to it; each takes the first probe unless one is named

    def factory_reset(self, serial: Optional[int] = None) -> None:
        """Flash, UICR, FICR, external flash and RAM as the bench file gives them."""
        self._control.call("factory_reset", serial or self.serial)

    def power_cycle(self, serial: Optional[int] = None) -> None:
        """Supply off and on: RAM and registers lose their content, protection takes effect."""
        self._control.call("power_cycle", serial or self.serial)

    def set_supply(self, millivolts: int, serial: Optional[int] = None) -> None:
        """The target's supply; below 1500 mV no chip answers."""
        self._control.call("set_supply", serial or self.serial, millivolts)

    def unplug(self, serial: Optional[int] = None) -> None:
        """Pull the probe's cable."""
        self._control.call("set_plugged", serial or self.serial, 0)

    def plug(self, serial: Optional[int] = None) -> None:
        """Put the probe's cable back."""
        self._control.call("set_plugged", serial or self.serial, 1)

    def peek(self, address: int, length: int, serial: Optional[int] = None) -> bytes:
        """The chip's memory as its bus shows it, past the probe: no time passes, and nothing is recorded."""
        output = buffers.OutputBytes(length)
        self._control.call("peek", serial or self.serial, address, ctypes.c_void_p(output.address), length)
        return output.take()

    def poke(self, address: int, data: buffers.Buffer, serial: Optional[int] = None) -> None:
        """Change the chip's memory past the probe; flash, too, without its controller."""
        keeper, place, length = buffers.readable(data)
        self._control.call("poke", serial or self.serial, address, ctypes.c_void_p(place), length)
        del keeper

    # ---- time

    @property
    def time(self) -> float:
        """Modelled seconds since the bench was opened."""
        return float(self._control.call("time_ns")) * 1e-9

    def pass_time(self, seconds: float) -> None:
        """Let modelled time pass; the chip of the open session lives meanwhile."""
        self._control.call("pass_time", round(seconds * 1e9))

    @property
    def is_real_time(self) -> bool:
        """Whether the chips go by the host's time as well."""
        return bool(self._control.call("is_real_time"))

    # ---- trace and faults

    @contextlib.contextmanager
    def trace(self) -> Iterator[List[str]]:
        """For a ``with`` statement: the list gets the J-Link calls that were made in it when it ends."""
        lines: List[str] = []
        self._control.call("start_trace")
        try:
            yield lines
        finally:
            lines += [self._control.call("trace_line", index) for index in range(self._control.call("count_trace"))]
            self._control.call("stop_trace")

    def fault(
        self,
        function: str,
        occurrence: int = 1,
        *,
        count: int = 1,
        result: Optional[int] = None,
        status: int = 0,
        error_text: Optional[str] = None,
        pending_error: int = 0,
        unplug: bool = False,
    ) -> None:
        """Order a fault of this process's next calls.

        Args:
            function: a J-Link function, for example ``"JLINKARM_ReadMem"``.
            occurrence: the first call that fails; 1 is the next one.
            count: so many fail; 0 for all from there on.
            result: what the call returns; it does nothing then.
            status: of ``JLINKARM_ReadMemU32``, the status byte.
            error_text: of ``JLINKARM_OpenEx`` and ``JLINKARM_ExecCommand``.
            pending_error: what ``JLINKARM_HasError`` tells afterwards.
            unplug: the cable is pulled before the call is carried out.

        Raises:
            SimulationError: there is no such function.
        """
        fault = FaultStructure(
            function=function.encode(),
            occurrence=occurrence,
            count=count,
            set_result=int(result is not None),
            result=result or 0,
            status=status,
            error_text=None if error_text is None else error_text.encode(),
            pending_error=pending_error,
            unplug=int(unplug),
        )
        self._control.call("inject_fault", ctypes.byref(fault))

    def clear_faults(self) -> None:
        """Forget the faults that are ordered."""
        self._control.call("clear_faults")

    # ---- records

    @property
    def records(self) -> Tuple[str, ...]:
        """What a real chip would have ignored or punished without telling, a line each: of this process, and of the
        commands and processes that worked on the bench."""
        own = tuple(self._control.call("record_line", index) for index in range(self._control.call("count_records")))
        kept = pathlib.Path(self._control.call("records_path"))
        # The file has the lines of all processes, but could not be written, or is full.
        everyone = tuple(kept.read_text(encoding="utf-8").splitlines()) if kept.is_file() else ()
        return everyone if len(everyone) >= len(own) else own

    def clear_records(self) -> None:
        """Forget the records."""
        self._control.call("clear_records")
        kept = pathlib.Path(self._control.call("records_path"))
        if kept.is_file():
            os.truncate(kept, 0)  # and not removed: the simulation has it open

    def expect_records(self, *names: str) -> None:
        """Records of these names, for example ``"flash-busy"``, are no failure."""
        self._expected += names

    @property
    def unexpected_records(self) -> Tuple[str, ...]:
        """The records that nobody expects."""
        return tuple(line for line in self.records if line.partition(":")[0] not in self._expected)

    def require_no_records(self) -> None:
        """RecordsError with the records that nobody expects, unless there is none."""
        unexpected = self.unexpected_records
        if unexpected:
            error = RecordsError(
                "the simulation recorded what a real chip would not have forgiven:\n  " + "\n  ".join(unexpected),
                hint='docs/simulation.md tells what the names mean; bench.expect_records("NAME") expects one.',
            )
            error.records = unexpected
            raise error


@contextlib.contextmanager
def _environment(variables: Mapping[str, str]) -> Iterator[None]:
    before = {name: os.environ.get(name) for name in variables}
    os.environ.update(variables)
    try:
        yield
    finally:
        for name, old in before.items():
            if old is None:
                os.environ.pop(name, None)
            else:
                os.environ[name] = old


def bench(
    version: str = DEFAULT_VERSION,
    *,
    boards: Optional[Sequence[Board]] = None,
    file: Optional[location.Path] = None,
    real_time: bool = False,
    strict: bool = False,
    simulation: Optional[location.Path] = None,
    **board: Any,
) -> Bench:
    """A bench of simulated probes with chips in their factory state, for a ``with`` statement; nothing is left behind.

    Args:
        version: of the one chip, and other settings of :class:`Board` by their names: ``protected=True``.
        boards: instead of these, the boards of a bench with several.
        file: instead of these, a bench file.
        real_time: calls last as long as on hardware, and real time between them counts for the chips.
        strict: a record of the simulation is a failure (RecordsError) when the bench is closed.
        simulation: the simulated J-Link library; without it see :mod:`tessit.location`.

    Raises:
        SimulationError: a bench is open in this process; or what the simulation does not take, with its reason.
        LibraryNotFoundError: there is no simulated J-Link library.
    """
    if (boards is not None or file is not None) and (board or version != DEFAULT_VERSION):
        raise BadArgumentError("bench takes one of: settings of one board, boards, file")
    chosen: Sequence[Board] = [Board(version, **board)] if boards is None else boards
    return Bench(chosen, file, real_time, strict, Control(simulation))
