"""The chip's memories, as far as writes and erases tell them apart, and transfers in pieces."""

from __future__ import annotations

from typing import Iterator, List, NamedTuple, Tuple

from .errors import BadArgumentError, VerifyMismatchError

#: From here on some chips show RAM a second time; below it is flash.
FLASH_END = 0x08000000
#: User configuration, factory information.
UICR = range(0x10001000, 0x10002000)
FICR = range(0x10000000, 0x10001000)
FICR_PAGE_SIZE = 0x10000010
FICR_PAGE_COUNT = 0x10000014
RAM_START = 0x20000000

_ADDRESSES = 1 << 32
_SHOWN_MISMATCHES = 8


class FlashGeometry(NamedTuple):
    """Of the chip's own flash, which begins at address 0: bytes of a page, and of all."""

    page_bytes: int
    bytes: int


class RamSection(NamedTuple):
    """A part of RAM with a power switch of its own."""

    number: int
    address: int
    bytes: int
    is_powered: bool


def needs_flash_controller(address: int) -> bool:
    """Whether a plain write would be ignored: the address lies in flash or UICR."""
    return address < FLASH_END or address in UICR


def require_range(address: int, length: int) -> None:
    """BadArgumentError unless the bytes lie within the address space."""
    if length < 0 or address + length > _ADDRESSES:
        raise BadArgumentError(f"{length} bytes at {address:#x} reach beyond the address space")


def pieces(address: int, length: int, step: int) -> Iterator[Tuple[int, int, int]]:
    """Address, offset and length of each call of a transfer. Between two calls Ctrl-C gets through."""
    require_range(address, length)
    offset = 0
    while True:
        at = address + offset
        size = min(length - offset, step)
        yield at, offset, size
        offset += size
        if offset >= length:
            return


def require_equal(what: str, address: int, expected: bytes, found: bytes, hint: str) -> None:
    """VerifyMismatchError with the first differing bytes, unless all are as they should."""
    if expected == found:
        return
    different = [at for at, (right, wrong) in enumerate(zip(expected, found)) if right != wrong]
    mismatches: List[Tuple[int, int, int]] = [
        (address + at, expected[at], found[at]) for at in different[:_SHOWN_MISMATCHES]
    ]
    listing = ", ".join(f"{at:#010x} expected {right:#04x} found {wrong:#04x}" for at, right, wrong in mismatches)
    more = len(different) - len(mismatches)
    error = VerifyMismatchError(
        f"{what}: the chip differs in {len(different)} bytes: {listing}{f', and {more} more' if more else ''}",
        hint=hint,
        operation=what,
    )
    error.mismatches = mismatches
    raise error
