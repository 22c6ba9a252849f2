"""Why a call failed."""

import ctypes
import enum
import os
from typing import Any, Dict, Optional, Type

from ._library import library


class OpenEnum(enum.IntEnum):
    """A later library may know more values than this module: they have no name of their own."""

    @classmethod
    def _missing_(cls, value: object) -> Any:
        if not isinstance(value, int):
            return None
        member = int.__new__(cls, value)
        member._name_, member._value_ = f"UNKNOWN_{value}", value
        return member


class ErrorCode(OpenEnum):
    """What the library says."""

    ARGUMENT = 1  #: a size of 0, or a number out of its bounds
    TIME = 2  #: a time that no calendar has, or an end before its start
    CAMERA = 3  #: a camera identifier that is refused
    NO_MEMORY = 4
    THREAD = 5  #: no thread could be started
    DIRECTORY = 6  #: missing, unreadable, on a disk that is read-only, fails or gives no answer
    IN_USE = 7  #: another engine has a record directory
    DISK_FULL = 8  #: no disk has room
    FILE = 9  #: the file could not be opened
    WRITE = 10  #: not all of it was written
    STREAM = 11  #: the analyser does not take the data
    CHANNEL_OPEN = 12  #: the camera is being recorded already
    NO_CHANNEL = 13
    TIMES_CHANGED = 14
    LOG = 15  #: the log cannot be written there, or takes no line
    INTERNAL = 16  #: a mistake of the library


class Error(Exception):
    """A call to the library failed.

    code: why. errno: the system's error number where it had a reason, else 0.
    """

    def __init__(self, code: int, errno: int = 0, about: str = "") -> None:
        self.code = ErrorCode(code)
        self.errno = errno
        self.about = about
        super().__init__(code, errno, about)

    def __str__(self) -> str:
        text = os.fsdecode(library.ls_error_text(self.code))
        reason = os.strerror(self.errno) if self.errno else ""
        return ": ".join(part for part in (self.about, text, reason) if part)


class BadArgument(Error, ValueError):
    """What was given is refused: ARGUMENT, TIME or CAMERA."""


class DirectoryUnusable(Error):
    """A record directory cannot be used: missing, unreadable, on a disk that fails."""


class InUse(Error):
    """Another engine, of this or another process, has a record directory."""


class DiskFull(Error):
    """No disk has room: try again after some seconds."""


class WriteFailed(Error):
    """Not all of it was written. The channel stays open: go on."""


class ChannelOpen(Error):
    """The camera is being recorded already."""


_KINDS: Dict[int, Type[Error]] = {
    ErrorCode.ARGUMENT: BadArgument,
    ErrorCode.TIME: BadArgument,
    ErrorCode.CAMERA: BadArgument,
    ErrorCode.DIRECTORY: DirectoryUnusable,
    ErrorCode.IN_USE: InUse,
    ErrorCode.DISK_FULL: DiskFull,
    ErrorCode.WRITE: WriteFailed,
    ErrorCode.CHANNEL_OPEN: ChannelOpen,
}


def check(code: int, about: str, reason: Optional[ctypes.c_int] = None) -> None:
    """Raises what a function returned, with what it was about."""
    if code:
        raise _KINDS.get(code, Error)(code, reason.value if reason else 0, about)
