"""Names and paths: str here, bytes with a NUL in C."""

import ctypes
import os
from pathlib import Path
from typing import Any, Iterable, List, Optional, Tuple, Union

AnyPath = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Directories = Union[AnyPath, Iterable[AnyPath]]


def to_c(text: AnyPath) -> bytes:
    """C would take a text with a NUL for a shorter one: it is refused."""
    encoded = os.fsencode(text)
    if b"\0" in encoded:
        raise ValueError(f"a NUL is in {text!r}")
    return encoded


def from_c(text: bytes) -> str:
    return os.fsdecode(text)


def path_from_c(text: bytes) -> Path:
    return Path(os.fsdecode(text))


def texts_to_c(texts: Iterable[AnyPath]) -> Tuple[Any, int]:
    """An array and how many there are."""
    encoded = [to_c(text) for text in texts]
    return (ctypes.c_char_p * len(encoded))(*encoded), len(encoded)


def directory_list(directories: Directories) -> List[AnyPath]:
    """One directory may stand for a list of one."""
    if isinstance(directories, (str, bytes, os.PathLike)):
        return [directories]
    return list(directories)


def words(texts: Optional[Iterable[AnyPath]]) -> str:
    """For messages."""
    return ", ".join(os.fsdecode(text) for text in texts or ())
