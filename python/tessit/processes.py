"""A process for each probe: a J-Link library holds one session a process."""

from __future__ import annotations

import contextlib
import multiprocessing
import multiprocessing.connection
import os
import pickle
import signal
import sys
import time
import traceback
from dataclasses import dataclass
from typing import Any, Callable, Dict, Generic, Iterable, Iterator, List, Optional, Tuple, TypeVar

from . import location
from .errors import BadArgumentError, TessitError
from .library import Library
from .log import logger
from .probe import Probe

T = TypeVar("T")


class ProcessError(TessitError):
    """A process ended without a result, or its exception could not be brought back as it was."""


@dataclass(frozen=True)
class Unit(Generic[T]):
    """What became of one probe.

    Attributes:
        serial: of the probe.
        value: what the function returned, or None.
        error: what it raised, or None. The text of its traceback is the error's `__cause__`.
        seconds: how long it took by the host's clock, the start of its process included.
    """

    serial: int
    value: Optional[T]
    error: Optional[BaseException]
    seconds: float

    @property
    def ok(self) -> bool:
        """Whether the function returned."""
        return self.error is None

    def get(self) -> T:
        """What the function returned; raises what it raised."""
        if self.error is not None:
            raise self.error
        return self.value  # type: ignore[return-value]


class _Traceback(Exception):
    """The traceback of the other process, as the cause of what it raised."""

    def __str__(self) -> str:
        return f'\n"""\n{self.args[0]}"""'


def spawn(
    function: Callable[[Probe], T],
    serials: Iterable[int],
    *,
    jlink: Optional[location.Path] = None,
    library: Optional[location.Path] = None,
    speed: int = 4000,
    jobs: Optional[int] = None,
) -> List[Unit[T]]:
    """Call a function with each of several probes, all at the same time, each in a process of its own.

    What happens on one, an exception, a pulled cable, a crash, disturbs no other. Ctrl-C interrupts the function in all
    of them (KeyboardInterrupt there), waits until they have closed their sessions, and is raised.

    Args:
        function: gets the open probe. It must be importable in a new process: a function at the top of a module, or a
            ``functools.partial`` of one, that takes and returns what can be pickled. A script calls this under
            ``if __name__ == "__main__":``.
        serials: serial numbers of the probes, each once.
        jlink: as :class:`tessit.Library`.
        library: as :class:`tessit.Library`.
        speed: SWD speed in kHz.
        jobs: no more than so many at the same time; all without it.

    Returns:
        A unit for each serial number, in their order.

    Raises:
        BadArgumentError: a serial number stands twice, or the function cannot be given to another process.
    """
    waiting = list(serials)
    _require_sensible(function, waiting, jobs)
    chosen = location.jlink(jlink)
    running: Dict[Any, _Process] = {}
    done: Dict[int, Unit[T]] = {}
    order = list(waiting)
    with _handing_interrupts_on(running):
        while waiting or running:
            while waiting and (jobs is None or len(running) < jobs):
                process = _Process(function, waiting.pop(0), chosen, library, speed)
                running[process.results] = process
            for ready in multiprocessing.connection.wait(list(running)):
                process = running.pop(ready)
                done[process.serial] = process.finish()
    return [done[serial] for serial in order]


def _require_sensible(function: Callable[[Probe], Any], serials: List[int], jobs: Optional[int]) -> None:
    twice = sorted({serial for serial in serials if serials.count(serial) > 1})
    if twice:
        raise BadArgumentError(f"spawn: probe {twice[0]} stands twice among the serial numbers")
    if jobs is not None and jobs < 1:
        raise BadArgumentError(f"spawn: jobs is {jobs}, not 1 or more")
    try:
        pickle.dumps(function)
    except Exception as reason:
        raise BadArgumentError(
            f"spawn: {function!r} cannot be given to another process: {reason}",
            hint="Give a function at the top of a module, or functools.partial of one, and not a lambda or a method "
            "that holds a session.",
        ) from reason


class _Process:
    """One probe's process, and the pipe on which its result comes."""

    def __init__(
        self, function: Any, serial: int, jlink: location.Path, library: Optional[location.Path], speed: int
    ) -> None:
        # A forked process would share the session of this one; a new interpreter does not, on any system.
        context = multiprocessing.get_context("spawn")
        self.serial = serial
        self._begin = time.monotonic()
        self.results, theirs = context.Pipe(duplex=False)
        self._process = context.Process(
            target=_work, args=(theirs, function, serial, jlink, library, speed), name=f"tessit {serial}"
        )
        self._process.start()
        theirs.close()

    def interrupt(self) -> None:
        """KeyboardInterrupt in its function; on Windows the process ends at once."""
        self._process.terminate()

    def wait(self) -> None:
        """Until it has ended."""
        self._process.join()

    def finish(self) -> Unit[Any]:
        """What came of it. The pipe has its result, or is closed."""
        try:
            value, error, told = self.results.recv()
        except EOFError:
            value, told, error = None, "", None
        except Exception as reason:  # an exception that can be pickled and not made again
            value, told, error = (None, "", ProcessError(f"probe {self.serial}: its result cannot be read: {reason!r}"))
        self._process.join()
        self.results.close()
        if told is None and error is None:
            return Unit(self.serial, value, None, self._seconds)
        if error is None:
            error = self._without_result()
        elif told:
            error.__cause__ = _Traceback(told)
        return Unit(self.serial, None, error, self._seconds)

    @property
    def _seconds(self) -> float:
        return time.monotonic() - self._begin

    def _without_result(self) -> ProcessError:
        code = self._process.exitcode or 0
        how = f"by signal {-code}" if code < 0 else f"with exit code {code}"
        return ProcessError(
            f"probe {self.serial}: its process ended {how} before it had a result",
            hint='A script calls spawn under `if __name__ == "__main__":`; standard error has what the process said.',
        )


@contextlib.contextmanager
def _handing_interrupts_on(running: Dict[Any, _Process]) -> Iterator[None]:
    try:
        yield
    except BaseException:
        for process in running.values():
            process.interrupt()
        for process in running.values():
            process.wait()
        raise


def _work(
    results: Any,
    function: Callable[[Probe], Any],
    serial: int,
    jlink: location.Path,
    library: Optional[location.Path],
    speed: int,
) -> None:
    """In the probe's process."""
    if sys.platform != "win32":
        # A terminal's Ctrl-C reaches all processes, and the parent hands it on besides: it counts once. It is not
        # ignored, which a command that is started from here would inherit.
        signal.signal(signal.SIGINT, lambda number, frame: None)
        signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        with Library(jlink, library=library) as opened, opened.probe(serial, speed) as probe:
            value = function(probe)
        _require_portable(value)
        message: Tuple[Any, Optional[BaseException], Optional[str]] = (value, None, None)
    except BaseException as exception:
        told = traceback.format_exc()
        message = (None, _portable(exception, told), told)
    results.send(message)
    results.close()


def _require_portable(value: Any) -> None:
    try:
        pickle.dumps(value)
    except Exception as reason:
        raise ProcessError(f"what the function returned cannot be given to another process: {reason}") from reason


def _portable(exception: BaseException, told: str) -> BaseException:
    """The exception, if it survives the way to the other process; else its text."""
    try:
        again = pickle.loads(pickle.dumps(exception))
        if type(again) is type(exception):
            return exception
    except Exception:
        logger.debug("process %s: %r cannot be pickled", os.getpid(), exception)
    return ProcessError(f"{type(exception).__name__}: {exception}", log=told.splitlines())
