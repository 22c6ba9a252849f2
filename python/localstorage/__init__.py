"""Records the video of cameras on local disks, and finds it again.

    import localstorage

    localstorage.log.to_files("/var/log/host")
    with localstorage.Engine("/disk1") as engine:
        with engine.record("door") as channel:
            channel.write(piece)  # ... many times
        for recording in engine.query("door"):
            print(recording.path, recording.start, recording.end)

The folder ``RecordFile`` below every record directory belongs to the engine: a repair of its index
removes whatever does not follow the naming rules there, and a full disk makes the engine delete the
oldest day. Never keep anything of your own in it.

Every ``datetime`` that this module gives has a time zone. One that it is given without is local.
Whatever fails raises ``localstorage.Error``, whose ``code`` tells why.

It calls liblocalstorage.so.1, or the library that the variable LOCALSTORAGE_LIBRARY names.
"""

from . import log
from ._library import version
from .catalogue import find_cameras, find_coverage, find_disks, find_pictures, find_recordings
from .channel import Channel
from .engine import Engine
from .errors import (
    BadArgument, ChannelOpen, DirectoryUnusable, DiskFull, Error, ErrorCode, InUse, WriteFailed)
from .options import Option, set_option
from .records import (
    Camera, Disk, EndSource, Event, EventKind, Layout, Picture, Recording, Span)

__all__ = [
    "BadArgument", "Camera", "Channel", "ChannelOpen", "DirectoryUnusable", "Disk", "DiskFull",
    "EndSource", "Engine", "Error", "ErrorCode", "Event", "EventKind", "InUse", "Layout", "Option",
    "Picture", "Recording", "Span", "WriteFailed", "find_cameras", "find_coverage", "find_disks",
    "find_pictures", "find_recordings", "log", "set_option", "version",
]
