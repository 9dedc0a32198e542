"""RTT: a talk with the firmware over rings in its RAM, while it runs."""

from __future__ import annotations

import ctypes
from types import TracebackType
from typing import TYPE_CHECKING, Any, Callable, Iterator, List, NamedTuple, Optional, Type

from . import buffers
from .constants import RttDirection
from .errors import RttTimeoutError, TessitError
from .log import logger

if TYPE_CHECKING:
    from .probe import Probe

#: What a control block begins with.
_IDENTIFIER = b"SEGGER RTT\0\0\0\0\0\0"
#: How often to look while nothing comes, in seconds.
_POLL = 0.002
_CHUNK = 4096


class RttChannel(NamedTuple):
    """A channel: its ring in the chip's RAM has `bytes` bytes."""

    number: int
    name: str
    bytes: int


class Rtt:
    """RTT of a probe's chip; :meth:`tessit.Probe.rtt` makes one for a ``with`` statement.

    The firmware runs meanwhile, and goes on afterwards. Times are in seconds: modelled ones with the simulation.
    """

    def __init__(
        self, probe: Probe, call: Callable[..., Any], address: Optional[int], reset: bool, wait: float
    ) -> None:
        self._probe = probe
        self._call = call
        self._clock = probe.library.clock
        self._address = address
        self._reset = reset
        self._wait = wait
        self._pending = b""  # of channel 0: read, and not yet asked for

    def __enter__(self) -> Rtt:
        self._probe.connect()
        if self._call("is_rtt_started"):
            self._call("rtt_stop")  # it outlived a connection that was lost
        if self._reset:
            self._probe.reset(halt=True)
            self._erase_old_control_blocks()
        if self._address is not None:
            self._call("rtt_set_control_block_address", self._address)
        self._call("rtt_start")
        try:
            if self._probe.is_halted:
                self._probe.go()
            self._wait_for_control_block()
        except BaseException:
            self._stop_quietly()
            raise
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], exception: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        if exception is None:
            self._call("rtt_stop")
        else:
            self._stop_quietly()

    def _stop_quietly(self) -> None:
        try:
            self._call("rtt_stop")
        except TessitError as error:
            logger.warning("stopping RTT: %s", error)

    def _erase_old_control_blocks(self) -> None:
        """The identifiers that earlier runs left in RAM: one would be found before the firmware has made its own."""
        for section in self._probe.ram_sections():
            if not section.is_powered:
                continue
            content = self._probe.read(section.address, section.bytes)
            at = content.find(_IDENTIFIER)
            while at >= 0:
                self._probe.write_word((section.address + at) & ~3, 0, flash=False)
                at = content.find(_IDENTIFIER, at + 1)

    def _wait_for_control_block(self) -> None:
        if not self._until(lambda: self.is_ready, self._wait):
            raise RttTimeoutError(
                f"no RTT control block after {self._wait:g} s",
                hint="Check that the firmware uses RTT and gets that far, or name the control block's address.",
                operation="rtt",
            )

    def _until(self, is_so: Callable[[], bool], timeout: float) -> bool:
        end = self._clock.now() + timeout
        while not is_so():
            if self._clock.now() >= end:
                return False
            self._clock.sleep(_POLL)
        return True

    @property
    def is_ready(self) -> bool:
        """Whether the firmware's control block has been found."""
        return bool(self._call("rtt_is_control_block_found"))

    def channels(self, direction: RttDirection = RttDirection.UP_DIRECTION) -> List[RttChannel]:
        """The channels of a direction: up is from the firmware."""
        down, up = self._call("rtt_read_channel_count")
        found = []
        for index in range(up if direction == RttDirection.UP_DIRECTION else down):
            name = ctypes.create_string_buffer(33)
            size = self._call("rtt_read_channel_info", index, direction, name, len(name))
            found.append(RttChannel(index, name.value.decode(errors="replace"), size))
        return found

    def read(self, channel: int = 0, most: int = _CHUNK) -> bytes:
        """What the firmware has said on an up channel, at most so many bytes; b"" where there is nothing now.

        Raises:
            BadArgumentError: there is no such channel.
            WrongStateError: the connection to the chip was lost.
        """
        if channel == 0 and self._pending:
            taken, self._pending = self._pending[:most], self._pending[most:]
            return taken
        place = ctypes.create_string_buffer(max(1, most))
        count = self._call("rtt_read", channel, place, most)
        return place.raw[:count]

    def write(self, data: buffers.Buffer, channel: int = 0, timeout: float = 5.0) -> None:
        """Tell the firmware something on a down channel: all of it, as its ring gets room.

        Raises:
            RttTimeoutError: the firmware did not take it in time.
            BadArgumentError: there is no such channel.
        """
        keeper, place, length = buffers.readable(data)
        written = 0

        def all_is_written() -> bool:
            nonlocal written
            before = -1
            while before < written < length:
                before = written
                written += self._call("rtt_write", channel, ctypes.c_void_p(place + written), length - written)
            return written == length

        if not self._until(all_is_written, timeout):
            raise RttTimeoutError(
                f"the firmware took {written} of {length} bytes in {timeout:g} s",
                hint="Check that it runs and reads this channel.",
                operation="rtt_write",
            )
        del keeper

    def expect(self, text: str, timeout: float = 5.0) -> str:
        """Wait until the firmware has said this on channel 0.

        Returns:
            All that it said up to there, with it. What it said after it is for the next read.

        Raises:
            RttTimeoutError: it did not in time; its `said` tells what it said instead.
        """
        awaited = text.encode()
        said = b""

        def has_come() -> bool:
            nonlocal said
            while awaited not in said:
                more = self.read()
                if not more:
                    return False
                said += more
            return True

        if not self._until(has_come, timeout):
            error = RttTimeoutError(
                f"the firmware did not say {text!r} in {timeout:g} s; it said {said.decode(errors='replace')!r}",
                operation="rtt_read",
            )
            error.said = said.decode(errors="replace")
            raise error
        end = said.index(awaited) + len(awaited)
        self._pending = said[end:] + self._pending
        return said[:end].decode(errors="replace")

    def lines(self, timeout: float = 1.0) -> Iterator[str]:
        """The lines of channel 0 as they come, without their ends, until the firmware has been silent for so long. A
        last line without an end comes then."""
        line = b""

        def has_line() -> bool:
            nonlocal line
            while b"\n" not in line:
                more = self.read()
                if not more:
                    return False
                line += more
            return True

        try:
            while self._until(has_line, timeout):
                whole, _, line = line.partition(b"\n")
                yield whole.rstrip(b"\r").decode(errors="replace")
            last, line = line, b""
            if last:
                yield last.decode(errors="replace")
        finally:
            self._pending = line + self._pending  # the caller went on without the rest

    def __iter__(self) -> Iterator[str]:
        return self.lines()
