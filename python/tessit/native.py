"""The shared library in this process: loaded once, one call at a time, and at most one session."""

from __future__ import annotations

import atexit
import os
import pathlib
import threading
from typing import Any, Dict, List, Optional, Set

from . import location
from .constants import ChipFamily, ResultCode
from .errors import LibraryNotFoundError, SecondSessionError, TessitError, WrongStateError, call_error
from .functions import BoundFunction, SharedLibrary, bind, optional_text, shown
from .interface import EXPORTS, PREFIX
from .log import CallLog, LogCallback, logger

#: The library takes no lock, nor does the simulation's control interface: one call of either at a time.
one_call_at_a_time = threading.RLock()

_loaded: Dict[pathlib.Path, Dict[str, BoundFunction]] = {}
#: Libraries whose last session ended with a pulled cable.
_lost_a_probe: Set[pathlib.Path] = set()
_session: Optional["NativeSession"] = None


def load(path: pathlib.Path) -> Dict[str, BoundFunction]:
    """The exports of the library at this path, which stays loaded."""
    if path not in _loaded:
        try:
            _loaded[path] = bind(SharedLibrary(str(path)), PREFIX, EXPORTS)
        except (OSError, AttributeError) as reason:
            raise LibraryNotFoundError(f"the library {path} cannot be used: {reason}") from reason
    return _loaded[path]


class NativeSession:
    """The library opened with a J-Link library: what all calls pass through."""

    def __init__(self, jlink: location.Path, library: Optional[location.Path], log: Optional[LogCallback]) -> None:
        global _session
        if _session is not None and _session.is_of_this_process:
            raise SecondSessionError(
                "this process has a tessit.Library open already, and a J-Link library holds one session a process",
                hint="Close the first one, or give each probe a process of its own with tessit.spawn().",
            )
        self.path = location.library(library)
        self.jlink = jlink
        self._functions = load(self.path)
        self._process = os.getpid()
        self._log = CallLog(log)
        self._in_call = False
        self._has_probe = False
        try:
            self._open()
        except BaseException:
            self._functions["close_dll"]()  # it may be open: the exception may be the callback's
            raise
        _session = self

    def _open(self) -> None:
        self.call("open_dll", optional_text(os.fspath(self.jlink)), self._log.pointer, ChipFamily.BIRCH_FAMILY)

    @property
    def is_of_this_process(self) -> bool:
        """False in a process that was forked off: the session is its parent's."""
        return self._process == os.getpid()

    @property
    def is_current(self) -> bool:
        """Whether this session has not been closed."""
        return _session is self

    def call(self, name: str, *inputs: Any) -> Any:
        """Call an export.

        Args:
            name: the export without ``TESSIT_``.
            inputs: what goes in, in the header's order; memory as ctypes takes it.

        Returns:
            What comes out: None, one value, or a tuple of them.

        Raises:
            TessitError: of the class that goes with the result.
        """
        bound = self._functions[name]
        if not self.is_of_this_process:
            raise WrongStateError(
                "this session belongs to the process that this one was forked off from",
                hint="Open a session in each process, as tessit.spawn() does.",
            )
        if not self.is_current and name not in ("open_dll", "close_dll"):
            raise WrongStateError(f"{name}: the library is closed", operation=name)
        with one_call_at_a_time:
            if self._in_call:
                raise WrongStateError(f"{name}: the library cannot be called from its own log callback")
            self._in_call = True
            try:
                code, outputs = self._log.call(lambda: bound(*inputs))
            finally:
                self._in_call = False
            self._log.hand_on()
            kept = self._log.take_exception()
            error = self._error_of(code, bound, inputs, self._log.lines()) if code else None
        if kept is not None:
            raise kept from error
        if error is not None:
            raise error
        return outputs[0] if len(outputs) == 1 else tuple(outputs) or None

    def _error_of(self, code: ResultCode, bound: BoundFunction, inputs: Any, lines: List[str]) -> TessitError:
        return call_error(code, shown(bound, inputs), bound.name, lines, self._has_lost_probe())

    def _has_lost_probe(self) -> bool:
        if not self._has_probe:
            return False
        code, outputs = self._functions["is_connected_to_emu"]()
        return code == ResultCode.RESULT_OK and not outputs[0]

    def connect(self, serial: int, speed: int) -> None:
        """Open a session with a probe."""
        if self.path in _lost_a_probe:
            self._forget_lost_session(serial, speed)
        self.call("connect_to_emu_with_snr", serial, speed)
        self._has_probe = True

    def _forget_lost_session(self, serial: int, speed: int) -> None:
        """The library takes CoreSight for configured and debug power for requested still, as in the session that was
        lost: being closed changes the first, and the end of a session the second."""
        self.call("close_dll")
        self._open()
        self.call("connect_to_emu_with_snr", serial, speed)
        self.call("disconnect_from_emu")
        _lost_a_probe.remove(self.path)

    def disconnect(self) -> None:
        """Close the session with the probe; nothing to do when the library is closed, or is another process's."""
        if self.is_current and self.is_of_this_process:
            self._forget_probe()
            self.call("disconnect_from_emu")

    def _forget_probe(self) -> None:
        if self._has_lost_probe():
            _lost_a_probe.add(self.path)
        self._has_probe = False

    def close(self) -> None:
        """Close the library; nothing to do when it is closed, or is another process's."""
        global _session
        if not self.is_current or not self.is_of_this_process:
            return
        self._forget_probe()
        _session = None
        self.call("close_dll")


def close_session_with(jlink: pathlib.Path) -> None:
    """Close the session of this process that is open with this J-Link library, if there is one."""
    if _session is not None and pathlib.Path(_session.jlink) == jlink:
        _session.close()


def _close_at_exit() -> None:
    if _session is not None:
        try:
            _session.close()
        except BaseException:  # there is nobody left to tell but the log
            logger.exception("closing the library at the end of the process")


atexit.register(_close_at_exit)
