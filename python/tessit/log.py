"""The library's log: kept for errors, and handed on to ``logging`` and to a callback of the user's."""

from __future__ import annotations

import collections
import contextlib
import logging
import signal
import threading
from typing import Any, Callable, Deque, Iterator, List, Optional

from .constants import LOG_SEPARATOR
from .functions import function_pointer

import ctypes

#: Lines of calls go here when a call is over: operations as DEBUG, messages as INFO.
logger = logging.getLogger("tessit")
logger.addHandler(logging.NullHandler())

LogCallback = Callable[[str], None]

#: Of one call so many lines are kept, the latest.
MOST_LINES = 100000


class CallLog:
    """The lines of the call in progress.

    Without a callback of the user's the lines are collected by the deque itself, so that no Python code runs inside C.
    With one, each line is handed to it at once; what it raises is kept, and raised when the call is over.
    """

    def __init__(self, callback: Optional[LogCallback]) -> None:
        self._raw: Deque[bytes] = collections.deque(maxlen=MOST_LINES)
        self._callback = callback
        self._kept: Optional[BaseException] = None
        receive: Callable[[bytes], None] = self._raw.append if callback is None else self._receive
        #: What the library calls; it has to live as long as the library is open.
        self.pointer: Any = function_pointer(None, ctypes.c_char_p)(receive)

    def _receive(self, raw: bytes) -> None:
        try:
            self._raw.append(raw)
            assert self._callback is not None
            self._callback(_text(raw))
        except BaseException as exception:  # pylint: disable=broad-except
            self._kept = self._kept or exception

    def call(self, function: Callable[[], Any]) -> Any:
        """Run one call of the library."""
        self._raw.clear()
        self._kept = None
        with _interrupt_waits() if self._callback else contextlib.nullcontext():
            return function()

    def hand_on(self) -> None:
        """Give the lines of the call that is over to the logger."""
        if logger.isEnabledFor(logging.INFO):
            for line in self.lines():
                logger.log(logging.INFO if LOG_SEPARATOR in line else logging.DEBUG, "%s", line)

    def lines(self) -> List[str]:
        """The lines of the call that is over."""
        return [_text(raw) for raw in self._raw]

    def take_exception(self) -> Optional[BaseException]:
        """What the callback raised during the call that is over."""
        kept, self._kept = self._kept, None
        return kept


def _text(raw: bytes) -> str:
    return raw.decode(errors="replace").rstrip("\r\n")


@contextlib.contextmanager
def _interrupt_waits() -> Iterator[None]:
    """Ctrl-C is raised when the call is over. In a callback it could come where ctypes would print and forget it."""
    if threading.current_thread() is not threading.main_thread():
        yield
        return
    came: List[int] = []
    before = signal.signal(signal.SIGINT, lambda number, frame: came.append(number))
    try:
        yield
    finally:
        signal.signal(signal.SIGINT, before if before is not None else signal.SIG_DFL)
    if came:
        signal.raise_signal(signal.SIGINT)
