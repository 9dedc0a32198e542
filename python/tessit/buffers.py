"""Bytes in and out of C without copies."""

from __future__ import annotations

import ctypes
from typing import Any, Tuple, Union

#: What holds bytes: bytes, bytearray, memoryview, array.array, numpy arrays, ...
Buffer = Union[bytes, bytearray, memoryview, Any]

try:
    _new_bytes = ctypes.pythonapi.PyBytes_FromStringAndSize
    _new_bytes.restype = ctypes.py_object
    _new_bytes.argtypes = [ctypes.c_void_p, ctypes.c_ssize_t]
    _bytes_address = ctypes.pythonapi.PyBytes_AsString
    _bytes_address.restype = ctypes.c_void_p
    _bytes_address.argtypes = [ctypes.py_object]
except AttributeError:  # pragma: no cover: a Python without CPython's interface
    _new_bytes = None  # type: ignore[assignment]


class OutputBytes:
    """Memory that C fills, and that is a bytes object afterwards.

    A bytes object that nobody else has seen yet may be written to; that is CPython's own way to make one.
    """

    def __init__(self, length: int) -> None:
        if _new_bytes is not None:
            self._memory: Any = _new_bytes(None, length)
            self.address: int = _bytes_address(self._memory)
        else:  # pragma: no cover
            self._memory = (ctypes.c_char * length)()
            self.address = ctypes.addressof(self._memory)

    def take(self) -> bytes:
        """What C has written."""
        taken: bytes = self._memory if _new_bytes is not None else bytes(self._memory)
        return taken


def writable(buffer: Buffer) -> Tuple[Any, int]:
    """Something that keeps the buffer in place, whose address C may write to, and the length in bytes."""
    view = memoryview(buffer).cast("B")
    if view.readonly:
        raise TypeError(f"a {type(buffer).__name__} cannot be written to")
    return (ctypes.c_char * len(view)).from_buffer(view), len(view)


def readable(buffer: Buffer) -> Tuple[Any, int, int]:
    """Something that keeps the buffer in place, its address, and its length in bytes. A copy is made of what is not
    bytes and cannot be written to, which ctypes gives no address of."""
    if isinstance(buffer, str):
        raise TypeError("bytes are needed, not a text: encode it")
    if not isinstance(buffer, bytes):
        view = memoryview(buffer).cast("B")
        if not view.readonly:
            keeper = (ctypes.c_char * len(view)).from_buffer(view)
            return keeper, ctypes.addressof(keeper), len(view)
        buffer = bytes(view)
    pointer = ctypes.c_char_p(buffer)
    address = ctypes.cast(pointer, ctypes.c_void_p).value or 0
    return (buffer, pointer), address, len(buffer)
