"""What stands on a bench: a probe, and the chip on it."""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from typing import Any, Dict, Mapping, Optional, Sequence

DEFAULT_VERSION = "BIRCH_M1_VA_REV2"


@dataclass(frozen=True)
class Board:
    """A probe of a bench and the chip on it. docs/simulation.md tells what the keys of a bench file mean.

    Args:
        version: one of the 14 chip versions; "" for a probe that is connected to nothing.
        serial: 1 to 2147483647; without it 600000001 for the first board, 600000002 for the second, ...
        supply_mv: target supply, 0 to 5000 mV.
        protected: delivered with readback protection.
        external_flash: its settings for a BIRCH_M2, for example ``{"size": 8 << 20}``.
        chip: other keys of ``[probe.chip]``.
        probe: other keys of ``[[probe]]``, for example ``{"fault_orders": "JLINKARM_WriteMem#2@unplug"}``.
    """

    version: str = DEFAULT_VERSION
    serial: Optional[int] = None
    supply_mv: Optional[int] = None
    protected: bool = False
    external_flash: Optional[Mapping[str, Any]] = None
    chip: Mapping[str, Any] = field(default_factory=dict)
    probe: Mapping[str, Any] = field(default_factory=dict)

    def table(self, serial: int) -> str:
        """As a bench file has it."""
        probe: Dict[str, Any] = {"serial": self.serial or serial, **self.probe}
        if self.supply_mv is not None:
            probe["supply_mv"] = self.supply_mv
        text = f"[[probe]]\n{_toml_lines(probe)}"
        if not self.version:
            return text
        chip: Dict[str, Any] = {"version": self.version, **self.chip}
        if self.protected:
            chip["protected"] = True
        if self.external_flash is not None:
            chip["external_flash"] = self.external_flash
        return f"{text}[probe.chip]\n{_toml_lines(chip)}"


def _toml_lines(table: Mapping[str, Any]) -> str:
    return "".join(f"{key} = {toml(entry)}\n" for key, entry in table.items())


def toml(entry: Any) -> str:
    """A value as a bench file has it."""
    if isinstance(entry, bool):
        return str(entry).lower()
    if isinstance(entry, str):
        escaped = re.sub(r'["\\\x00-\x1f\x7f]', lambda found: f"\\u{ord(found[0]):04x}", entry)
        return f'"{escaped}"'
    if isinstance(entry, Mapping):
        return "{ " + ", ".join(f"{toml(str(key))} = {toml(value)}" for key, value in entry.items()) + " }"
    if isinstance(entry, Sequence):
        return "[" + ", ".join(map(toml, entry)) + "]"
    return str(entry)
