"""What the library tells."""

from dataclasses import dataclass
from datetime import date, datetime, timedelta
from pathlib import Path
from typing import Optional

from .errors import OpenEnum


class Layout(OpenEnum):
    """How recordings lie on disk. One directory has one layout."""

    #: Recordings carry the times that the host gives in their names and stand in an index.
    REMOTE_BACKUP = 0
    #: Recordings are named from the clock and cut by size.
    CLIENT = 1


class EventKind(OpenEnum):
    """What an event tells."""

    DISK_FULL = 1  #: no disk has room
    DISK_SWITCH = 2  #: recording goes on in the directory `path`, with `free_mib`
    FILE_CREATED = 3  #: `path` of `camera`
    FILE_DELETED = 4  #: `path`, to make room or because no frame came
    FILE_CLOSED = 5  #: `path` of `camera`
    WRITE_FAILED = 6  #: something of `camera` is lost, for `errno`


class EndSource(OpenEnum):
    """What tells when a recording ended, the best first."""

    NAME = 0  #: the recording's name
    STAMP = 1  #: the UTC times that its key frames carry
    STREAM = 2  #: its container's times, or the number of its frames
    LAST_CHANGE = 3  #: of its file, or the camera's next recording


@dataclass(frozen=True)
class Event:
    """What an engine tells while it works."""

    kind: EventKind
    camera: Optional[str]  #: None where none is meant
    path: Optional[Path]  #: full; None where none is meant
    time: Optional[datetime]  #: of a file that is created or closed, to the second
    free_mib: int  #: of DISK_SWITCH, in MiB
    errno: int  #: of WRITE_FAILED, the system's


@dataclass(frozen=True)
class Recording:
    """A recording. It covers [start, end), at least one second."""

    path: Path  #: full
    directory: Path  #: the record directory
    camera: str
    layout: Layout  #: by its name
    type: int  #: 1 to 8; 0 in the client layout
    start: datetime
    end: datetime
    end_source: EndSource  #: how good the end is
    bytes: int  #: when it was looked at
    changed: datetime  #: last, before it was looked at


@dataclass(frozen=True)
class Span:
    """A span of time, [start, end), in which a camera was recorded, or a gap between two."""

    camera: str
    start: datetime
    end: datetime
    gap: bool  #: nothing was recorded


@dataclass(frozen=True)
class Picture:
    """A picture."""

    path: Path  #: full
    directory: Path  #: the record directory
    camera: str
    taken: datetime  #: when it was stored, to the second
    bytes: int  #: when it was looked at


@dataclass(frozen=True)
class Disk:
    """What stands below one record directory."""

    directory: Path
    record_folder: Optional[Path]  #: that engines use; None: there is none
    first_day: Optional[date]  #: with recordings; None: there are none
    last_day: Optional[date]
    free_bytes: int  #: that an engine may use
    full: bool  #: 2048 MiB free or less
    recordings: int  #: how many
    recording_bytes: int  #: of all of them
    pictures: int  #: how many
    picture_bytes: int  #: of all of them


@dataclass(frozen=True)
class Camera:
    """What there is of a camera."""

    camera: str
    recordings: int  #: how many
    bytes: int  #: of all of them
    start: datetime  #: of the first recording
    end: datetime  #: of the last one
    client: bool  #: recorded as it is filmed: the client layout
    recording: bool  #: that is going on: its last picture is at most a minute old
    today: timedelta  #: recorded since midnight
    gap_today: timedelta  #: missing between today's recordings
