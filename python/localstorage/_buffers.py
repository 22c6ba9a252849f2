"""Bytes for the library, without a copy."""

import ctypes
from typing import Any, Callable

_SIMPLE = 0  # contiguous bytes, whoever may write to them

# bytes, bytearray, memoryview, array, mmap and whatever else has the buffer protocol.
AnyBytes = Any


class _Pinned(ctypes.Structure):
    """Py_buffer of CPython: where an object has its bytes. They stay there inside of "with"."""

    _fields_ = [
        ("data", ctypes.c_void_p), ("object", ctypes.c_void_p), ("size", ctypes.c_ssize_t),
        ("item_size", ctypes.c_ssize_t), ("read_only", ctypes.c_int), ("dimensions", ctypes.c_int),
        ("format", ctypes.c_void_p), ("shape", ctypes.c_void_p), ("strides", ctypes.c_void_p),
        ("sub_offsets", ctypes.c_void_p), ("internal", ctypes.c_void_p)]

    def __init__(self, data: AnyBytes) -> None:
        super().__init__()
        _get(data, self, _SIMPLE)

    def __enter__(self) -> "_Pinned":
        return self

    def __exit__(self, *_: object) -> None:
        _release(self)


_get = ctypes.pythonapi.PyObject_GetBuffer
_get.argtypes = [ctypes.py_object, ctypes.POINTER(_Pinned), ctypes.c_int]
_release = ctypes.pythonapi.PyBuffer_Release
_release.argtypes, _release.restype = [ctypes.POINTER(_Pinned)], None


def with_bytes(data: AnyBytes, use: Callable[[Any, int], None]) -> None:
    """Calls with the address of the bytes, in one piece, and how many there are."""
    if isinstance(data, bytes):  # never moved: pinning it would cost a microsecond
        use(data, len(data))
        return
    with _Pinned(data) as pinned:
        use(pinned.data, pinned.size)
