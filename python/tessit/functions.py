"""Functions of a shared library, described as its header declares them, and called by that description.

A table row says all there is to a function; bindings and checks derive from it, and the tests compare its declaration
with the header's, word for word.
"""

from __future__ import annotations

import ctypes
import enum
import sys
from dataclasses import dataclass
from typing import Any, Callable, Dict, List, Mapping, Optional, Tuple, Type

from . import constants
from .errors import BadArgumentError

#: The platform's standard calling convention: stdcall on 32-bit Windows, and the only one there is elsewhere.
if sys.platform == "win32":
    SharedLibrary = ctypes.WinDLL
    function_pointer = ctypes.WINFUNCTYPE
else:
    SharedLibrary = ctypes.CDLL
    function_pointer = ctypes.CFUNCTYPE


@dataclass(frozen=True)
class _Named:
    """To an enumeration's member; a number that has no name in it stays a number."""

    enumeration: Type[enum.IntEnum]

    def __call__(self, number: int) -> int:
        try:
            return self.enumeration(number)
        except ValueError:
            return number


@dataclass(frozen=True)
class CType:
    """A type of the header: how ctypes has it, and what a result of it becomes in Python."""

    ctype: Any
    from_c: Callable[[Any], Any] = int
    lowest: int = 0
    highest: int = 0


def _unsigned(ctype: Any, from_c: Callable[[Any], Any] = int) -> CType:
    return CType(ctype, from_c, 0, (1 << 8 * ctypes.sizeof(ctype)) - 1)


def _signed(from_c: Callable[[Any], Any] = int) -> CType:
    return CType(ctypes.c_int32, from_c, -(1 << 31), (1 << 31) - 1)


#: Enumerations of the public header are 32 bits wide; those with an underlying int32_t are signed.
C_TYPES: Dict[str, CType] = {
    "uint8_t": _unsigned(ctypes.c_uint8),
    "uint32_t": _unsigned(ctypes.c_uint32),
    "uint64_t": _unsigned(ctypes.c_uint64),
    "bool": CType(ctypes.c_bool, bool, 0, 1),
    "char": CType(ctypes.c_char, lambda byte: str(byte, "latin-1")),
    "result_code_t": _signed(_Named(constants.ResultCode)),
    "chip_family_t": _unsigned(ctypes.c_uint32, _Named(constants.ChipFamily)),
    "chip_version_t": _unsigned(ctypes.c_uint32, _Named(constants.ChipVersion)),
    "readback_protection_status_t": _unsigned(ctypes.c_uint32, _Named(constants.Protection)),
    "region_0_source_t": _unsigned(ctypes.c_uint32, _Named(constants.Region0Source)),
    "cpu_register_t": _signed(_Named(constants.Register)),
    "ram_power_status_t": _unsigned(ctypes.c_uint32, _Named(constants.RamPower)),
    "rtt_direction_t": _signed(_Named(constants.RttDirection)),
    "qspi_read_mode_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiReadMode)),
    "qspi_write_mode_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiWriteMode)),
    "qspi_address_mode_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiAddressMode)),
    "qspi_frequency_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiFrequency)),
    "qspi_spi_mode_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiSpiMode)),
    "qspi_level_io_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiLevel)),
    "qspi_page_program_size_t": _unsigned(ctypes.c_uint32, _Named(constants.QspiPageSize)),
    "qspi_erase_len_t": _signed(_Named(constants.QspiErase)),
    "int": _signed(),
    "void": CType(None),
    "const char*": CType(ctypes.c_char_p, lambda text: (text or b"").decode(errors="replace")),
}


@dataclass(frozen=True)
class Parameter:
    """A parameter: a number that goes in, a number that comes out, or memory of the caller's."""

    name: str
    c_type: str
    comes_out: bool = False

    @property
    def is_pointer(self) -> bool:
        """Whether the caller hands memory in, or a callback."""
        return self.c_type not in C_TYPES or self.c_type == "const char*"

    @property
    def declaration(self) -> str:
        """As the header declares it."""
        return f"{self.c_type}{'*' if self.comes_out else ''} {self.name}"


def value(c_type: str, name: str) -> Parameter:
    """A number that goes in."""
    return Parameter(name, c_type)


def result(c_type: str, name: str) -> Parameter:
    """A number that comes out, through a pointer in C."""
    return Parameter(name, c_type, comes_out=True)


def pointer(c_type: str, name: str) -> Parameter:
    """Memory of the caller's, or a callback."""
    return Parameter(name, c_type)


@dataclass(frozen=True)
class Function:
    """A row of a table: a function without its library's prefix."""

    name: str
    parameters: Tuple[Parameter, ...]
    returns: str = "result_code_t"

    def declaration(self, prefix: str) -> str:
        """As the header declares it, without the words for the compiler."""
        parameters = ", ".join(parameter.declaration for parameter in self.parameters) or "void"
        gap = "" if self.returns.endswith("*") else " "
        return f"{self.returns}{gap}{prefix}{self.name}({parameters})"


def table(*functions: Function) -> Dict[str, Function]:
    """The rows by their names."""
    return {function.name: function for function in functions}


class BoundFunction:
    """A function of a table in a loaded library."""

    def __init__(self, function: Function, entry: Any) -> None:
        self.name = function.name
        self.parameters = function.parameters
        self._entry = entry
        self._entry.restype = C_TYPES[function.returns].ctype
        self._returned = C_TYPES[function.returns].from_c
        # Checked and converted here: ctypes cuts numbers that do not fit without a word.
        self._entry.argtypes = None
        self._inputs = sum(not parameter.comes_out for parameter in self.parameters)

    def __call__(self, *inputs: Any) -> Tuple[Any, List[Any]]:
        """Call with what goes in, in the header's order; what it returned, and what came out."""
        if len(inputs) != self._inputs:
            raise TypeError(f"{self.name} takes {self._inputs} arguments, {len(inputs)} were given")
        waiting = iter(inputs)
        outputs: List[Tuple[CType, Any]] = []
        arguments: List[Any] = []
        for parameter in self.parameters:
            if parameter.comes_out:
                kind = C_TYPES[parameter.c_type]
                outputs.append((kind, kind.ctype()))
                arguments.append(ctypes.byref(outputs[-1][1]))
            else:
                arguments.append(self._to_c(parameter, next(waiting)))
        returned = self._entry(*arguments)
        return self._returned(returned or 0), [kind.from_c(place.value) for kind, place in outputs]

    def _to_c(self, parameter: Parameter, given: Any) -> Any:
        if parameter.is_pointer:
            if isinstance(given, int):
                raise TypeError(f"{self.name}: {parameter.name} takes memory or None, not a number")
            return given
        kind = C_TYPES[parameter.c_type]
        number = int(given)
        if not kind.lowest <= number <= kind.highest:
            raise BadArgumentError(f"{self.name}: {parameter.name} is {number}, not {kind.lowest} to {kind.highest:#x}")
        return kind.ctype(number)


def bind(library: ctypes.CDLL, prefix: str, functions: Mapping[str, Function]) -> Dict[str, BoundFunction]:
    """All functions of a table; AttributeError names one that the library lacks."""
    return {name: BoundFunction(row, getattr(library, prefix + name)) for name, row in functions.items()}


def shown(bound: BoundFunction, inputs: Tuple[Any, ...]) -> str:
    """A call in words, with its numbers: ``read(0x20000000, 16)``."""
    going_in = [parameter for parameter in bound.parameters if not parameter.comes_out]
    numbers = [
        _shown_number(parameter, given) for parameter, given in zip(going_in, inputs) if not parameter.is_pointer
    ]
    return f"{bound.name}({', '.join(numbers)})"


_SHOWN_IN_HEX = ("addr", "address", "reg_addr", "pc", "sp", "data", "register_data", "instruction_code")


def _shown_number(parameter: Parameter, number: Any) -> str:
    return f"{int(number):#x}" if parameter.name in _SHOWN_IN_HEX else str(number)


def optional_text(text: Optional[str]) -> Optional[bytes]:
    """As C takes it; None stays null."""
    return None if text is None else text.encode()
