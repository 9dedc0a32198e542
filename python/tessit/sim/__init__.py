"""The simulated J-Link library: benches of simulated probes and chips for tests. See docs/simulation.md."""

from ..location import example_firmware
from .bench import Bench, ProbeState, bench
from .board import Board

__all__ = ["Bench", "Board", "ProbeState", "bench", "example_firmware"]
