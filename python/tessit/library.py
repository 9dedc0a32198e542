"""The library opened with a J-Link library, and the probes that it finds."""

from __future__ import annotations

import ctypes
from types import TracebackType
from typing import Any, List, NamedTuple, Optional, Type

from . import location
from .clock import Clock, HostClock
from .constants import ChipFamily
from .errors import BadArgumentError, NoProbeError, SecondSessionError
from .log import LogCallback
from .native import NativeSession
from .probe import Probe


class JLinkVersion(NamedTuple):
    """Version of the J-Link library: the revision is a letter, 'a' for the first, ' ' for none."""

    major: int
    minor: int
    revision: str

    def __str__(self) -> str:
        return f"{self.major}.{self.minor:02}{self.revision.strip()}"


class Library:
    """The library ``jlinkarm_birch_tessit``, opened with a J-Link library; a context manager, which closes it.

    A process has one at a time: a J-Link library holds one session a process. See :func:`tessit.spawn` for more probes
    than one.

    Args:
        jlink: the J-Link library; without it ``TESSIT_JLINK``, then where the J-Link software installs itself. A bare
            file name is for the system's loader to find.
        library: the library ``jlinkarm_birch_tessit``; without it see :mod:`tessit.location`.
        log: gets each line of the log at once, while a call is under way. It must not call this package; what it
            raises is raised when the call is over. Without it the lines go to the logger ``tessit`` after each call.
        clock: what waits go by; the simulation brings its own.

    Raises:
        LibraryNotFoundError: one of the libraries is missing, does not load, or is too old.
        SecondSessionError: this process has one open.
    """

    def __init__(
        self,
        jlink: Optional[location.Path] = None,
        *,
        library: Optional[location.Path] = None,
        log: Optional[LogCallback] = None,
        clock: Optional[Clock] = None,
    ) -> None:
        self.jlink = location.jlink(jlink)
        self._native = NativeSession(self.jlink, library, log)
        self._probe: Optional[Probe] = None
        self.clock: Clock = clock or self._own_clock()

    def _own_clock(self) -> Clock:
        if not location.is_simulation(self.jlink):
            return HostClock()
        from .sim.control import modelled_clock

        return modelled_clock(self.jlink) or HostClock()

    def __enter__(self) -> Library:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], exception: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def close(self) -> None:
        """Disconnect what is connected and close the library. Closing it again does nothing."""
        self._native.close()

    def call(self, export: str, *inputs: Any) -> Any:
        """Call any of the 67 exports by its name without ``TESSIT_``.

        Args:
            export: for example ``"read_u32"``.
            inputs: what goes in, in the header's order; memory as ctypes takes it.

        Returns:
            What comes out through the header's pointers: None, one value, or a tuple.

        Raises:
            TessitError: of the class that goes with the result.
        """
        return self._native.call(export, *inputs)

    @property
    def is_open(self) -> bool:
        """Whether the library is open."""
        return self._native.is_current and bool(self.call("is_dll_open"))

    @property
    def version(self) -> JLinkVersion:
        """Version of the J-Link library."""
        return JLinkVersion(*self.call("dll_version"))

    def family(self) -> ChipFamily:
        """Not available: the library always refuses it with WrongStateError."""
        return ChipFamily(self.call("read_device_family"))

    def probes(self) -> List[int]:
        """Serial numbers of the attached probes.

        Raises:
            JLinkError: the J-Link library reported a failure.
        """
        count = self.call("enum_emu_snr", None, 0)
        serials = (ctypes.c_uint32 * count)()
        available = self.call("enum_emu_snr", serials, count)
        return list(serials)[:available]  # one may have gone meanwhile

    def probe(self, serial: Optional[int] = None, speed: int = 4000) -> Probe:
        """A session with a probe; a context manager, which closes it.

        Args:
            serial: the probe's serial number. It may be left away where one probe is attached.
            speed: of SWD in kHz, 125 to 50000.

        Raises:
            NoProbeError: no probe is attached, or not this one.
            BadArgumentError: `speed`, or several probes are attached and none is named.
            LowVoltageError: the target's supply is below 1500 mV.
            ProbeInUseError: another program holds it.
            SecondSessionError: this library has a session with a probe.
        """
        if self._probe is not None and not self._probe.is_closed:
            raise SecondSessionError(
                f"this process has a session with probe {self._probe.serial} already, and a J-Link library holds one a "
                "process",
                hint="Close the first one, or give each probe a process of its own with tessit.spawn().",
            )
        self._probe = Probe(self, self._native, self._chosen(serial), speed)
        return self._probe

    def _chosen(self, serial: Optional[int]) -> int:
        if serial is not None:
            return serial
        attached = self.probes()
        if not attached:
            raise NoProbeError(
                "no probe is attached",
                hint="Plug a J-Link probe in; on Linux check the udev rules of the J-Link software.",
            )
        if len(attached) > 1:
            raise BadArgumentError(
                f"{len(attached)} probes are attached, and none is named: {', '.join(map(str, attached))}",
                hint="Name one: library.probe(serial).",
            )
        return attached[0]
