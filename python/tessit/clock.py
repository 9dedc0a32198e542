"""The clock that waits go by: the host's, or with the simulation its bench's modelled time."""

from __future__ import annotations

import time
from typing import Protocol


class Clock(Protocol):
    """Seconds that pass."""

    def now(self) -> float:
        """Seconds since some moment."""

    def sleep(self, seconds: float) -> None:
        """Let so many seconds pass."""


class HostClock:
    """The clock of real probes."""

    def now(self) -> float:
        """Seconds since some moment."""
        return time.monotonic()

    def sleep(self, seconds: float) -> None:
        """Let so many seconds pass."""
        time.sleep(seconds)
