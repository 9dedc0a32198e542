"""A session with a probe, and the chip on it."""

from __future__ import annotations

import contextlib
import ctypes
from types import TracebackType
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Mapping, Optional, Tuple, Type

from . import buffers, command, memory
from .constants import ChipVersion, Protection, RamPower, Region0Source
from .errors import BadArgumentError, TessitError, UnsupportedError, WrongStateError
from .location import Path, is_simulation
from .log import logger
from .native import NativeSession
from .qspi import Qspi, QspiConfig
from .registers import Registers
from .rtt import Rtt

if TYPE_CHECKING:
    from .library import Library

#: SWD clocks that a word takes: what a transfer's speed follows from.
_CLOCKS_PER_WORD = 46
_PROTECTED_BLOCK = "Block protection may stand in the way: probe.disable_block_protection() lifts it, with a reset."
_ERASE_FIRST = "Flash bits only clear: erase the page first. " + _PROTECTED_BLOCK


class Probe:
    """A session with a probe; :meth:`tessit.Library.probe` opens it. A context manager, which closes it.

    Unless it says otherwise, an operation connects to the chip where it has to (ProtectedError, NoTargetError), and
    halts the CPU, which stays halted. Where the cable is pulled NoProbeError is raised, whatever the operation.
    Nothing is rolled back: what was done before a failure stays done.
    """

    def __init__(self, library: Library, native: NativeSession, serial: int, speed: int) -> None:
        self._library = library
        self._native = native
        self._speed = speed
        self._is_closed = False
        #: The CPU's registers.
        self.registers = Registers(self._call)
        self._serial = serial
        self._connect()

    def _call(self, name: str, *inputs: Any) -> Any:
        if self.is_closed:  # the library's session may be another probe's by now
            raise WrongStateError(f"{name}: the session with probe {self._serial} is closed", operation=name)
        return self._native.call(name, *inputs)

    def _connect(self) -> None:
        self._native.connect(self._serial, self._speed)
        self._is_closed = False

    def close(self) -> None:
        """Close the session; nothing to do when it is closed."""
        if self._is_closed:
            return
        self._is_closed = True
        self._native.disconnect()

    def __enter__(self) -> Probe:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], exception: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        try:
            self.close()
        except TessitError as error:
            if exception is None:
                raise
            logger.warning("closing the session with probe %s: %s", self._serial, error)

    @property
    def is_closed(self) -> bool:
        """Whether this session was closed."""
        return self._is_closed or not self._native.is_current

    @contextlib.contextmanager
    def released(self) -> Iterator[None]:
        """For a ``with`` statement in which another program may use the probe; it is opened again at the end."""
        self.close()
        try:
            yield
        finally:
            self._connect()

    # ---- the probe

    @property
    def library(self) -> Library:
        """The library that this session belongs to."""
        return self._library

    @property
    def serial(self) -> int:
        """Serial number of the probe."""
        return self._serial

    @property
    def speed(self) -> int:
        """SWD speed in kHz that the session was opened with."""
        return self._speed

    @property
    def is_open(self) -> bool:
        """Whether the session is open and the probe is still there."""
        return not self.is_closed and bool(self._call("is_connected_to_emu"))

    @property
    def firmware(self) -> str:
        """Firmware text of the probe."""
        text = ctypes.create_string_buffer(256)
        self._call("read_connected_emu_fwstr", text, len(text))
        return text.value.decode(errors="replace")

    # ---- the chip

    @property
    def is_connected(self) -> bool:
        """Whether the chip is connected; the CPU is left alone."""
        return bool(self._call("is_connected_to_device"))

    def connect(self) -> None:
        """Connect to the chip and identify it; nothing to do when it is connected.

        Raises:
            ProtectedError, NoTargetError
        """
        if not self.is_connected:
            self._call("connect_to_device")

    def disconnect(self) -> None:
        """Drop the connection to the chip by restarting the session."""
        self._call("disconnect_from_device")

    @property
    def chip_version(self) -> ChipVersion:
        """Version of the chip."""
        return ChipVersion(self._call("read_device_version"))

    @property
    def protection(self) -> Protection:
        """Readback protection, NONE or FULL; it can be asked of a protected chip."""
        return Protection(self._call("readback_status"))

    def protect(self) -> None:
        """Turn readback protection on. The chip is not connected afterwards; :meth:`recover`, which erases everything,
        is the only way back.

        Raises:
            UnsupportedError: this chip has none.
            FlashTimeoutError
        """
        self._call("readback_protect", Protection.FULL)

    def recover(self) -> None:
        """Bring the chip back to a blank, unprotected, connected state. **Erases everything**: flash, UICR and RAM.

        Takes half a second at least on a protected chip, 30 s at most.

        Raises:
            RecoverFailedError
        """
        self._call("recover")

    def region_0(self) -> Tuple[int, Region0Source]:
        """Size in bytes and origin of region 0: always 0 and NO_REGION_0."""
        size, source = self._call("read_region_0_size_and_source")
        return size, source

    # ---- reset and run control

    def reset(self, *, halt: bool = False) -> None:
        """System reset; the firmware then runs from its beginning, or with `halt` is halted there."""
        self._call("sys_reset")
        if not halt:
            self._call("go")

    def debug_reset(self) -> None:
        """Reset and run: of a connected chip like :meth:`reset`, otherwise through the control access port, which works
        on a protected chip."""
        self._call("debug_reset")

    def pin_reset(self) -> None:
        """Drive the reset line low for 20 ms, which works on a protected chip. It is not connected afterwards."""
        self._call("pin_reset")

    def halt(self) -> None:
        """Halt the CPU."""
        self._call("halt")

    @property
    def is_halted(self) -> bool:
        """Whether the CPU is halted; it is left alone."""
        return bool(self._call("is_halted"))

    def run(self, pc: int, sp: int) -> None:
        """Let the CPU run from this program counter with this stack pointer."""
        self._call("run", pc, sp)

    def go(self) -> None:
        """Let the CPU run on; nothing to do when it runs."""
        self._call("go")

    def step(self) -> None:
        """Execute one instruction.

        Raises:
            WrongStateError: the CPU is running.
        """
        self._call("step")

    # ---- memory

    @property
    def transfer_bytes(self) -> int:
        """What one call transfers at most: about a second's worth at this speed, so that Ctrl-C gets through."""
        return max(4096, self._speed * 1000 // _CLOCKS_PER_WORD * 4 // 4096 * 4096)

    def read(self, address: int, length: int) -> bytes:
        """Read `length` bytes, 1 or more, from any address.

        Raises:
            BadArgumentError: `length`.
            JLinkError: something there cannot be read.
        """
        memory.require_range(address, length)
        output = buffers.OutputBytes(length)
        self._read(address, output.address, length)
        return output.take()

    def read_into(self, address: int, buffer: buffers.Buffer) -> None:
        """Read as many bytes as fit into a writable buffer (bytearray, memoryview, array, ...)."""
        array, length = buffers.writable(buffer)
        self._read(address, ctypes.addressof(array), length)

    def _read(self, address: int, place: int, length: int) -> None:
        for at, offset, size in memory.pieces(address, length, self.transfer_bytes):
            self._call("read", at, ctypes.c_void_p(place + offset), size)

    def write(
        self, address: int, data: buffers.Buffer, *, flash: Optional[bool] = None, verify: Optional[bool] = None
    ) -> None:
        """Write bytes at an address that is a multiple of 4.

        Flash bits only clear: erase first. A tail of 1 to 3 bytes rewrites the rest of its word with what it holds.

        Args:
            address: a multiple of 4.
            data: bytes, bytearray, memoryview, array, ...; 1 byte or more.
            flash: whether to write through the flash controller; without it that is so for flash and UICR.
            verify: read it back and compare; without it that is so with the flash controller, which ignores what it
                cannot write without telling.

        Raises:
            BadArgumentError: the address or the length; or the factory area, which :meth:`write_factory` is for.
            VerifyMismatchError: the memory does not hold what was written.
            JLinkError, FlashTimeoutError
        """
        if flash is None and address in memory.FICR:
            raise BadArgumentError(
                f"write: {address:#010x} is in the factory area, which ignores plain writes",
                hint="probe.write_factory() is for it; it can never be erased.",
            )
        through_controller = memory.needs_flash_controller(address) if flash is None else flash
        keeper, place, length = buffers.readable(data)
        for at, offset, size in memory.pieces(address, length, self.transfer_bytes):
            self._call("write", at, ctypes.c_void_p(place + offset), size, int(through_controller))
        if through_controller if verify is None else verify:
            written = ctypes.string_at(place, length)
            memory.require_equal("write", address, written, self.read(address, length), _ERASE_FIRST)
        del keeper

    def read_word(self, address: int) -> int:
        """Read a 32-bit word at an address that is a multiple of 4."""
        return int(self._call("read_u32", address))

    def write_word(self, address: int, number: int, *, flash: Optional[bool] = None) -> None:
        """Write a 32-bit word, 0 to 0xFFFFFFFF, at an address that is a multiple of 4. `flash` as in :meth:`write`; a
        word written through the flash controller is read back.

        Raises:
            BadArgumentError, VerifyMismatchError, JLinkError, FlashTimeoutError
        """
        through_controller = memory.needs_flash_controller(address) if flash is None else flash
        self._call("write_u32", address, number, int(through_controller))
        if through_controller:
            found = self.read_word(address).to_bytes(4, "little")
            memory.require_equal("write_word", address, number.to_bytes(4, "little"), found, _ERASE_FIRST)

    def write_factory(self, address: int, data: buffers.Buffer) -> None:
        """Write whole words of the factory area, **which can never be erased**.

        Args:
            address: a multiple of 4; it is not checked to lie in the factory area.
            data: a multiple of 4 bytes.
        """
        keeper, place, length = buffers.readable(data)
        self._call("ficrwrite", address, ctypes.c_void_p(place), length)
        del keeper

    def write_factory_word(self, address: int, number: int) -> None:
        """Write one word of the factory area, **which can never be erased**."""
        self._call("ficrwrite_u32", address, number)

    @property
    def flash(self) -> memory.FlashGeometry:
        """Pages and size of the chip's flash, as its factory area tells them.

        Raises:
            UnsupportedError: it tells nothing that makes sense.
        """
        page, count = self.read_word(memory.FICR_PAGE_SIZE), self.read_word(memory.FICR_PAGE_COUNT)
        if not 512 <= page <= 65536 or page & (page - 1) or not 0 < page * count <= 16 << 20:
            raise UnsupportedError("the chip's factory area does not tell the size of its flash and of its pages")
        return memory.FlashGeometry(page, page * count)

    # ---- erases

    def _require_erased(self, what: str, address: int, length: int) -> None:
        memory.require_equal(what, address, b"\xff" * length, self.read(address, length), _PROTECTED_BLOCK)

    def erase_page(self, address: int, *, verify: bool = True) -> None:
        """Erase the page of flash that holds `address`, and read it back; 85 ms and more.

        Raises:
            VerifyMismatchError: the page is not blank; block protection does that without telling.
            FlashTimeoutError
        """
        page = self.flash.page_bytes if verify else 0
        self._call("erase_page", address)
        if verify:
            self._require_erased("erase_page", address // page * page, page)

    def erase_all(self, *, verify: bool = True) -> None:
        """Erase all of the flash and the UICR, and read the flash back, which takes 1.5 s for 512 KiB at 4 MHz.

        Raises:
            VerifyMismatchError: the flash is not blank; block protection does that without telling.
            FlashTimeoutError
        """
        size = self.flash.bytes if verify else 0
        self._call("erase_all")
        if verify:
            self._require_erased("erase_all", 0, size)

    def mass_erase(self, *, verify: bool = True) -> None:
        """As :meth:`erase_all`, through the mass-erase register."""
        size = self.flash.bytes if verify else 0
        self._call("masserase")
        if verify:
            self._require_erased("masserase", 0, size)

    def erase_uicr(self, *, verify: bool = True) -> None:
        """Erase the user configuration, and read it back."""
        self._call("erase_uicr")
        if verify:
            self._require_erased("erase_uicr", memory.UICR.start, len(memory.UICR))

    def disable_block_protection(self) -> None:
        """Lift the flash's block protection, and reset the chip, whose CPU is halted then."""
        self._call("disable_bprot")

    # ---- RAM

    def ram_sections(self) -> List[memory.RamSection]:
        """The sections of RAM, with their power. The CPU is left alone.

        Raises:
            UnsupportedError: not known for this chip.
        """
        count = self._call("read_ram_sections_count")
        sizes, power = (ctypes.c_uint32 * count)(), (ctypes.c_uint32 * count)()
        self._call("read_ram_sections_size", sizes, count)
        self._call("read_ram_sections_power_status", power, count)
        sections, address = [], memory.RAM_START
        for index, (size, state) in enumerate(zip(sizes, power)):
            sections.append(memory.RamSection(index, address, size, state == RamPower.RAM_SECTION_ON))
            address += size
        return sections

    def power_ram(self) -> None:
        """Switch all sections of RAM on."""
        self._call("power_ram_all")

    def unpower_ram(self, index: int) -> None:
        """Switch one section of RAM off, which loses its content.

        Raises:
            BadArgumentError: there is no such section.
        """
        self._call("unpower_ram_section", index)

    # ---- debug port and access ports

    def read_debug_port(self, address: int) -> int:
        """Read a register of the debug port, at a multiple of 4. These four need the chip **not** connected.

        Raises:
            WrongStateError: it is connected; :meth:`disconnect` first.
            BadArgumentError: `address`.
        """
        return int(self._call("read_debug_port_register", address))

    def write_debug_port(self, address: int, number: int) -> None:
        """Write a register of the debug port; see :meth:`read_debug_port`."""
        self._call("write_debug_port_register", address, number)

    def read_access_port(self, index: int, address: int) -> int:
        """Read a register of an access port, 0 to 255; 1 is the control access port. See :meth:`read_debug_port`."""
        return int(self._call("read_access_port_register", index, address))

    def write_access_port(self, index: int, address: int, number: int) -> None:
        """Write a register of an access port; see :meth:`read_access_port`."""
        self._call("write_access_port_register", index, address, number)

    # ---- talking with the firmware, and external flash

    def rtt(self, *, address: Optional[int] = None, reset: bool = False, wait: float = 5.0) -> Rtt:
        """RTT, for a ``with`` statement: what the firmware says, and what it is told.

        Args:
            address: where the firmware's control block is; without it the chip's RAM is searched.
            reset: start the firmware from its beginning, so that nothing that it says is lost and nothing of an
                earlier run is seen. Without it a halted CPU is set running.
            wait: seconds until the control block must be there; modelled time with the simulation.

        Raises:
            RttTimeoutError: there is no control block after that time.
        """
        return Rtt(self, self._call, address, reset, wait)

    def qspi(self, config: QspiConfig, *, retain_ram: bool = False) -> Qspi:
        """The external flash of a BIRCH_M2, for a ``with`` statement.

        Args:
            config: how the board connects it.
            retain_ram: put the 8 KiB of RAM from 0x20000000 on, which transfers go through, back at the end.

        Raises:
            BadArgumentError: a field of `config`.
            UnsupportedError: the chip has no QSPI.
        """
        return Qspi(self, self._call, config, retain_ram)

    # ---- what the command does

    def program(self, *files: Path, **options: Any) -> Dict[str, Any]:
        """Program firmware files with the command ``tessit``; see :func:`tessit.program`. The session is closed
        meanwhile, and the chip's connection with it."""
        return self._command(command.program, files, options)

    def verify(self, *files: Path, **options: Any) -> Dict[str, Any]:
        """Compare the chip with firmware files with the command ``tessit``; see :func:`tessit.verify`."""
        return self._command(command.verify, files, options)

    def _command(
        self, run: Callable[..., Dict[str, Any]], files: Tuple[Path, ...], options: Mapping[str, Any]
    ) -> Dict[str, Any]:
        jlink = self._library.jlink
        where: Dict[str, Any] = {"sim": True} if is_simulation(jlink) else {"jlink": jlink}
        with self.released():
            return run(*files, probe=self._serial, speed=self._speed, **where, **options)
