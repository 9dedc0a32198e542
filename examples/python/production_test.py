#!/usr/bin/env python3
"""A production test of three boards at the same time, on a simulated bench.

Each board gets the firmware and words of its own, is started, and has to answer over RTT; the table at the end tells
what became of each. On real boards leave the bench away, and give spawn the serial numbers of the attached probes.
"""

from __future__ import annotations

import sys
from dataclasses import dataclass
from typing import List

import tessit

FIRMWARE = tessit.sim.example_firmware("rtt_echo")
#: Words of a unit's own in the UICR: the number of the unit, and its key.
UNIT_NUMBER, UNIT_KEY = 0x10001080, 0x10001084
BOARDS = [
    tessit.sim.Board("BIRCH_M1_VA_REV2"),
    tessit.sim.Board("BIRCH_M1_VA_REV2", protected=True),
    tessit.sim.Board("BIRCH_M1_VA_REV2", supply_mv=900),
]


@dataclass(frozen=True)
class Report:
    """What is written down of a board that passed."""

    unit: int
    device_id: str
    answer: str


def test_board(probe: tessit.Probe) -> Report:
    """In the probe's own process."""
    unit = probe.serial % 1000
    programmed = probe.program(FIRMWARE, values={UNIT_NUMBER: unit, UNIT_KEY: 0xC0FFEE00 + unit}, recover=True)
    with probe.rtt(reset=True) as rtt:
        rtt.expect("rtt_echo is ready")
        rtt.write(f"unit {unit}\n".encode())
        answer = rtt.expect(f"UNIT {unit}\n")
    assert probe.read_word(UNIT_NUMBER) == unit
    return Report(unit, programmed["device_id"], answer.strip())


def show(units: List[tessit.Unit[Report]]) -> None:
    """A line for each board."""
    for unit in units:
        if unit.value is not None:
            print(f"{unit.serial}  passed  chip {unit.value.device_id}: {unit.value.answer}")
        else:
            print(f"{unit.serial}  FAILED  {type(unit.error).__name__}: {str(unit.error).splitlines()[0]}")


def main() -> int:
    """Test all boards; 0 when all passed."""
    with tessit.sim.bench(boards=BOARDS) as bench:
        units = tessit.spawn(test_board, bench.serials, jlink=bench.jlink)
    show(units)
    return 0 if all(unit.ok for unit in units) else 1


if __name__ == "__main__":
    sys.exit(main())
