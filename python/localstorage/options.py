"""Options of all engines of the process."""

import enum

from ._header import int32
from ._library import library
from .errors import check


class Option(enum.IntEnum):
    """What set_option sets."""

    #: milliseconds between two syncs of what is recorded, 0 (never) to 3,600,000; default 1000
    SYNC_INTERVAL = 1
    #: MiB that an open recording reserves ahead, 0 to 1024; default 16
    RESERVE_STEP = 2
    #: a directory with so many MiB free or less is full, 64 to 1,073,741,824; default 2048
    FULL_SPACE = 3
    #: 1: files are made for user and group alone; default 0
    PRIVATE_MODES = 4
    #: 1: a directory on the root's file system only marks where a disk will be mounted; default 0
    REQUIRE_MOUNT = 5


def set_option(option: Option, value: int) -> None:
    """Sets an option for the engines that are opened afterwards."""
    check(library.ls_set_option(option, int32(value)), f"{option!r} = {value}")
