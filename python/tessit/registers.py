"""The CPU's registers, by their names."""

from __future__ import annotations

from typing import Any, Callable, Iterator, Mapping, Union

from .constants import Register

_REGISTER_ALIASES = {Register.R13: "sp", Register.R14: "lr", Register.R15: "pc"}


class Registers(Mapping[str, int]):
    """The CPU's registers: ``registers["pc"]`` reads one, ``registers["pc"] = 0x100`` writes one, dict() reads all.

    Names are r0 to r12, sp (r13), lr (r14), pc (r15), xpsr, msp and psp in any case, or members of
    :class:`tessit.Register`. Every access halts the CPU, which stays halted.
    """

    _NAMES = tuple(_REGISTER_ALIASES.get(register, register.name.lower()) for register in Register)

    def __init__(self, call: Callable[..., Any]) -> None:
        self._call = call

    def __getitem__(self, name: Union[str, Register]) -> int:
        return int(self._call("read_cpu_register", self._find(name)))

    def __setitem__(self, name: Union[str, Register], number: int) -> None:
        self._call("write_cpu_register", self._find(name), number)

    def __iter__(self) -> Iterator[str]:
        return iter(self._NAMES)

    def __len__(self) -> int:
        return len(self._NAMES)

    def _find(self, name: Union[str, Register]) -> Register:
        if isinstance(name, Register):
            return name
        lower = str(name).lower()
        if lower in self._NAMES:
            return Register(self._NAMES.index(lower))
        if lower.upper() in Register.__members__:
            return Register[lower.upper()]
        raise KeyError(f"there is no CPU register {name!r}; there are {', '.join(self._NAMES)}")
