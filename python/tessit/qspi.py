"""The external flash behind the QSPI peripheral of BIRCH_M2 chips."""

from __future__ import annotations

import ctypes
import re
from dataclasses import dataclass
from types import TracebackType
from typing import TYPE_CHECKING, Any, Callable, Optional, Tuple, Type

from . import buffers, memory
from .constants import (
    QspiAddressMode,
    QspiErase,
    QspiFrequency,
    QspiLevel,
    QspiPageSize,
    QspiReadMode,
    QspiSpiMode,
    QspiWriteMode,
)
from .errors import BadArgumentError, FlashTimeoutError, TessitError
from .interface import QspiConfigStructure
from .log import logger

if TYPE_CHECKING:
    from .probe import Probe

_READ_STATUS = 0x05
_READ_IDENTIFICATION = 0x9F
#: As many answers as a probe can give in 10 s at best.
_MOST_STATUS_READS = 40000
_PROTECTED = "Erase first: flash bits only clear. A write-protected flash ignores writes and erases without a word."


@dataclass(frozen=True)
class QspiConfig:
    """How a board connects its external flash. Pins are ``"P0.17"``: P0.0 to P0.31, P1.0 to P1.15.

    Codes go unchanged into the peripheral's registers. `sck_delay` is 0 to 255; `wip_bit` is the bit of the flash's
    status register, 0 to 7, that is 1 while it writes or erases.
    """

    csn: str
    clk: str
    dio0: str
    dio1: str
    dio2: str
    dio3: str
    read_mode: QspiReadMode = QspiReadMode.READ_MODE_CODE_0
    write_mode: QspiWriteMode = QspiWriteMode.WRITE_MODE_CODE_0
    address_mode: QspiAddressMode = QspiAddressMode.ADDRESS_MODE_24BIT
    frequency: QspiFrequency = QspiFrequency.FREQ_DIV2
    spi_mode: QspiSpiMode = QspiSpiMode.SPI_MODE_CODE_0
    sck_delay: int = 5
    io2_level: QspiLevel = QspiLevel.LEVEL_HIGH
    io3_level: QspiLevel = QspiLevel.LEVEL_HIGH
    wip_bit: int = 0
    page_size: QspiPageSize = QspiPageSize.PP_SIZE_CODE_0

    def structure(self) -> QspiConfigStructure:
        """As C takes it.

        Raises:
            BadArgumentError: a pin that is none. All else the library checks.
        """
        pins = {}
        for line in ("csn", "clk", "dio0", "dio1", "dio2", "dio3"):
            port, pin = _pin(line, getattr(self, line))
            pins[f"{line.upper()}_port"], pins[f"{line.upper()}_pin"] = port, pin
        return QspiConfigStructure(
            read_mode=self.read_mode,
            write_mode=self.write_mode,
            address_mode=self.address_mode,
            frequency=self.frequency,
            spi_mode=self.spi_mode,
            sck_delay=self.sck_delay,
            custom_instruction_io2_level=self.io2_level,
            custom_instruction_io3_level=self.io3_level,
            WIP_index=self.wip_bit,
            PPSize=self.page_size,
            **pins,
        )


def _pin(line: str, name: str) -> Tuple[int, int]:
    found = re.fullmatch(r"[Pp]([01])\.(\d{1,2})", name)
    if not found or int(found[2]) > (31, 15)[int(found[1])]:
        raise BadArgumentError(f"{line}: {name!r} is no pin; pins are P0.0 to P0.31 and P1.0 to P1.15")
    return int(found[1]), int(found[2])


class Qspi:
    """The external flash; :meth:`tessit.Probe.qspi` makes one for a ``with`` statement.

    The CPU is halted, and transfers go through RAM from 0x20000000 to 0x20001FFF. Addresses are the flash's own.
    Failures: WrongStateError after a lost connection, FlashTimeoutError, JLinkError.
    """

    def __init__(self, probe: Probe, call: Callable[..., Any], config: QspiConfig, retain_ram: bool) -> None:
        self._probe = probe
        self._call = call
        self._config = config
        self._retain_ram = retain_ram

    def __enter__(self) -> Qspi:
        structure = self._config.structure()
        if self._call("is_qspi_init"):
            self._call("qspi_uninit")  # it outlived a connection that was lost
        self._call("qspi_init", int(self._retain_ram), ctypes.byref(structure))
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], exception: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        try:
            self._call("qspi_uninit")
        except TessitError as error:
            if exception is None:
                raise
            logger.warning("deactivating QSPI: %s", error)

    def read(self, address: int, length: int) -> bytes:
        """Read `length` bytes, 1 or more.

        Raises:
            BadArgumentError: `length`, or an address beyond 24 bits in that address mode.
        """
        memory.require_range(address, length)
        output = buffers.OutputBytes(length)
        self._read(address, output.address, length)
        return output.take()

    def read_into(self, address: int, buffer: buffers.Buffer) -> None:
        """Read as many bytes as fit into a writable buffer."""
        array, length = buffers.writable(buffer)
        self._read(address, ctypes.addressof(array), length)

    def _read(self, address: int, place: int, length: int) -> None:
        for at, offset, size in memory.pieces(address, length, self._probe.transfer_bytes):
            self._call("qspi_read", at, ctypes.c_void_p(place + offset), size)

    def write(self, address: int, data: buffers.Buffer, *, verify: bool = True) -> None:
        """Write bytes to erased flash, wait until it has taken them, and read them back.

        Raises:
            BadArgumentError: as :meth:`read`.
            VerifyMismatchError: the flash does not hold what was written.
            FlashTimeoutError: it stays busy.
        """
        keeper, place, length = buffers.readable(data)
        for at, offset, size in memory.pieces(address, length, self._probe.transfer_bytes):
            self._call("qspi_write", at, ctypes.c_void_p(place + offset), size)
        self._wait_until_written()
        if verify:
            written = ctypes.string_at(place, length)
            memory.require_equal("qspi_write", address, written, self.read(address, length), _PROTECTED)
        del keeper

    def _wait_until_written(self) -> None:
        for _ in range(_MOST_STATUS_READS):
            if not self.custom(_READ_STATUS, receive=1)[0] >> self._config.wip_bit & 1:
                return
        raise FlashTimeoutError("qspi_write: the external flash stays busy", hint="Check its supply and wip_bit.")

    def erase(self, address: int, length: QspiErase, *, verify: bool = True) -> None:
        """Erase, wait for the flash, and look whether the first and the last 16 bytes are blank.

        Args:
            address: a multiple of what is erased; any for ERASEALL.
            length: what to erase.
            verify: of ERASEALL only the first 16 bytes are looked at; the flash does not tell where it ends.

        Raises:
            BadArgumentError: `address` or `length`.
            VerifyMismatchError: it is not blank.
            FlashTimeoutError: it stays busy, 512 s at most.
        """
        self._call("qspi_erase", address, length)
        if not verify:
            return
        sizes = {QspiErase.ERASE4KB: 4096, QspiErase.ERASE32KB: 32768, QspiErase.ERASE64KB: 65536}
        places = [0] if length == QspiErase.ERASEALL else [address, address + sizes[length] - 16]
        for place in places:
            memory.require_equal("qspi_erase", place, b"\xff" * 16, self.read(place, 16), _PROTECTED)

    def custom(self, opcode: int, data: buffers.Buffer = b"", *, receive: int = 0) -> bytes:
        """Send an instruction of one's own.

        Args:
            opcode: 0 to 255.
            data: bytes to send after it.
            receive: bytes to receive after these.

        Returns:
            What was received.

        Raises:
            UnsupportedError: more than 8 bytes in all on BIRCH_M2_VA_ENGA.
        """
        keeper, place, length = buffers.readable(data)
        sent = (ctypes.c_uint8 * (length + receive))()
        ctypes.memmove(sent, place, length)
        received = (ctypes.c_uint8 * (length + receive))()
        self._call("qspi_custom", opcode, 1 + length + receive, sent, received)
        del keeper
        return bytes(received)[length:]

    def identification(self) -> bytes:
        """Three bytes: manufacturer, type, and the size as a power of two."""
        return self.custom(_READ_IDENTIFICATION, receive=3)
