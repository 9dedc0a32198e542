"""The control interface of the simulated J-Link library, as its header declares it."""

from __future__ import annotations

import ctypes
import pathlib
from typing import Any, Dict, Optional

from .. import location
from ..errors import LibraryNotFoundError, SimulationError
from ..functions import BoundFunction, Function, SharedLibrary, bind, pointer, shown, table, value
from ..native import one_call_at_a_time

PREFIX = "JLINKSIM_"

_U32 = "uint32_t"
_SERIAL = value(_U32, "serial_number")


def _function(name: str, *parameters: Any, returns: str = "int") -> Function:
    return Function(name, parameters, returns)


CONTROLS = table(
    _function("open_bench", pointer("const char*", "path")),
    _function("close_bench"),
    _function("error_text", returns="const char*"),
    _function("write_example_bench", pointer("const char*", "path")),
    _function("bench_path", returns="const char*"),
    _function("count_probes"),
    _function("describe_probe", value(_U32, "index"), pointer("jlinksim_probe_t*", "probe")),
    _function("factory_reset", _SERIAL),
    _function("power_cycle", _SERIAL),
    _function("set_supply", _SERIAL, value(_U32, "millivolts")),
    _function("set_plugged", _SERIAL, value(_U32, "plugged")),
    _function("peek", _SERIAL, value(_U32, "addr"), pointer("void*", "buffer"), value(_U32, "length")),
    _function("poke", _SERIAL, value(_U32, "addr"), pointer("const void*", "data"), value(_U32, "length")),
    _function("time_ns", returns="uint64_t"),
    _function("pass_time", value("uint64_t", "nanoseconds")),
    _function("is_real_time"),
    _function("start_trace"),
    _function("stop_trace"),
    _function("count_trace"),
    _function("trace_line", value(_U32, "index"), returns="const char*"),
    _function("inject_fault", pointer("const jlinksim_fault_t*", "fault")),
    _function("clear_faults"),
    _function("count_records"),
    _function("record_line", value(_U32, "index"), returns="const char*"),
    _function("clear_records"),
    _function("records_path", returns="const char*"),
)


class ProbeStructure(ctypes.Structure):
    """``jlinksim_probe_t``."""

    _fields_ = [
        ("serial_number", ctypes.c_uint32),
        ("plugged", ctypes.c_uint32),
        ("in_use", ctypes.c_uint32),
        ("supply_millivolts", ctypes.c_uint32),
        ("firmware_text", ctypes.c_char * 112),
        ("chip_version", ctypes.c_char * 32),
        ("chip_protected", ctypes.c_uint32),
        ("flash_bytes", ctypes.c_uint32),
        ("flash_page_bytes", ctypes.c_uint32),
        ("flash_used_bytes", ctypes.c_uint32),
        ("uicr_blank", ctypes.c_uint32),
        ("ram_bytes", ctypes.c_uint32),
        ("external_flash_bytes", ctypes.c_uint32),
        ("state_folder", ctypes.c_char * 512),
    ]


class FaultStructure(ctypes.Structure):
    """``jlinksim_fault_t``."""

    _fields_ = [
        ("function", ctypes.c_char_p),
        ("occurrence", ctypes.c_uint32),
        ("count", ctypes.c_uint32),
        ("set_result", ctypes.c_uint32),
        ("result", ctypes.c_int32),
        ("status", ctypes.c_uint32),
        ("error_text", ctypes.c_char_p),
        ("pending_error", ctypes.c_uint32),
        ("unplug", ctypes.c_uint32),
    ]


_loaded: Dict[pathlib.Path, Dict[str, BoundFunction]] = {}


class Control:
    """The functions of the control interface in the simulation at this path, which stays loaded."""

    def __init__(self, path: Optional[location.Path] = None) -> None:
        self.path = location.simulation(path)
        if self.path not in _loaded:
            try:
                _loaded[self.path] = bind(SharedLibrary(str(self.path)), PREFIX, CONTROLS)
            except (OSError, AttributeError) as reason:
                raise LibraryNotFoundError(
                    f"the simulation {self.path} cannot be used: {reason}",
                    hint="The simulation needs Debian's packages libfmt9, libtomlplusplus3 and libunicorn2."
                    if "cannot open shared object" in str(reason)
                    else "",
                ) from reason
        self._functions = _loaded[self.path]

    def call(self, name: str, *inputs: Any) -> Any:
        """Call a function; what it returned.

        Raises:
            SimulationError: it failed, with the simulation's reason.
        """
        bound = self._functions[name]
        with one_call_at_a_time:
            returned, _ = bound(*inputs)
            if returned != -1:
                return returned
            reason, _ = self._functions["error_text"]()
        raise SimulationError(f"{shown(bound, inputs)}: {reason}", operation=name)


class ModelledClock:
    """The modelled time of the open bench."""

    def __init__(self, control: Control) -> None:
        self._control = control

    def now(self) -> float:
        """Seconds since the bench was opened."""
        return float(self._control.call("time_ns")) * 1e-9

    def sleep(self, seconds: float) -> None:
        """Let so many seconds pass, for the chip."""
        self._control.call("pass_time", round(seconds * 1e9))


def modelled_clock(path: location.Path) -> Optional[ModelledClock]:
    """The clock of the open bench, or None where the bench goes by the host's."""
    control = Control(path)
    return None if control.call("is_real_time") == 1 else ModelledClock(control)
