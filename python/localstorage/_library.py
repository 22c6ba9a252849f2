"""Finds and loads the library."""

import ctypes
import os
import re

from ._header import FUNCTIONS

NAME = "liblocalstorage.so.1"
MAJOR, LEAST_MINOR = 1, 1  # whose records are those of _header.py


def _load() -> ctypes.CDLL:
    path = os.environ.get("LOCALSTORAGE_LIBRARY") or NAME
    try:
        # Calls release the interpreter's lock, so none can wait for an event that waits for it.
        library = ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(
            f"{error}; install {NAME}, or name it in LOCALSTORAGE_LIBRARY", path=path) from None
    try:
        for name, (result, parameters) in FUNCTIONS.items():
            function = getattr(library, name)
            function.restype, function.argtypes = result, parameters
    except AttributeError as error:
        raise ImportError(f"{error}; version {MAJOR}.{LEAST_MINOR} is needed", path=path) from None
    return library


library = _load()


def version() -> str:
    """The version of the library, "1.2.3"."""
    return os.fsdecode(library.ls_version())


def _check_version() -> None:
    major, minor = map(int, re.findall(r"\d+", version())[:2])
    if major != MAJOR or minor < LEAST_MINOR:
        raise ImportError(
            f"{NAME} is version {version()}; {MAJOR}.{LEAST_MINOR} or a later {MAJOR} is needed")


_check_version()
