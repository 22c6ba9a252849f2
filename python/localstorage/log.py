"""The log of the library, one per process.

Without a call to any of these it goes into files in "/share/LocalStorage/", made with the first
line.
"""

import enum
from typing import Optional

from ._header import uint32
from ._library import library
from ._texts import AnyPath, to_c
from .errors import check


class Level(enum.IntEnum):
    """Weight of a line."""

    NOTHING = 0  #: a limit only
    ERRORS = 1  #: what failed
    INFORMATION = 2  #: what was done
    DEBUGGING = 3  #: more


class Target(enum.IntEnum):
    """Where lines go."""

    STANDARD_OUTPUT = 0
    STANDARD_ERROR = 1
    FILES = 2  #: see to_files


def to_files(
        directory: Optional[AnyPath] = None, file_size: int = 0, two_in_turn: bool = True) -> None:
    """Sends the log into files in a directory, made with its parents; None: the default.

    file_size: of each, in bytes; 0: 52,428,800. two_in_turn: two that take turns, else numbered on
    without end.
    """
    path = None if directory is None else to_c(directory)
    code = library.ls_log_to_files(path, uint32(file_size), two_in_turn)
    check(code, f"logging to {directory!r}")


def to_stream(stream: Target) -> None:
    """Sends the log to one of the standard streams too."""
    check(library.ls_log_to_stream(stream), f"logging to {stream!r}")


def off(target: Target) -> None:
    """Ends a target after it has got what is queued; with the last one the log stops."""
    check(library.ls_log_off(target), f"ending {target!r}")


def limit(level: Level) -> None:
    """Drops lines above a level."""
    check(library.ls_log_limit(level), f"limiting the log to {level!r}")


def write(level: Level, text: str) -> None:
    """Writes a line of the host's own. Error with ErrorCode.LOG: it was dropped."""
    check(library.ls_log_write(level, to_c(text)), "writing to the log")
