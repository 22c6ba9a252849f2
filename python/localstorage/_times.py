"""Times: datetime here, in C moments (microseconds since 1970, UTC) and what wall clocks show."""

import ctypes
from datetime import date, datetime, timedelta, timezone
from typing import Optional

from . import _header
from ._library import library
from .errors import check

EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
MICROSECOND = timedelta(microseconds=1)


def to_moment(time: datetime) -> int:
    return (time.astimezone(timezone.utc) - EPOCH) // MICROSECOND


def from_moment(moment: int) -> datetime:
    """A name may tell a year that a datetime cannot: it is taken for the nearest that it can."""
    return EPOCH + min(max(moment, _FIRST), _LAST) * MICROSECOND


_FIRST, _LAST = (
    to_moment(time.replace(tzinfo=timezone.utc)) for time in (datetime.min, datetime.max))


def to_wall(time: datetime) -> _header.Time:
    """What the machine's clocks show then; the time itself where it has no zone."""
    wall = _header.Time()
    if time.tzinfo is not None:
        check(library.ls_time_of(to_moment(time), ctypes.byref(wall)), str(time))
        return wall
    return _header.Time(time.year, time.month, time.day, time.hour, time.minute, time.second)


def from_wall(wall: _header.Time) -> Optional[datetime]:
    """Nothing for zeros. Of an hour that clocks show twice, the first."""
    if wall.year == 0:
        return None
    second = min(wall.second, 59)  # a datetime has no leap seconds
    return datetime(
        wall.year, wall.month, wall.day, wall.hour, wall.minute, second).astimezone()


def to_wall_day(day: date) -> _header.Time:
    return _header.Time(day.year, day.month, day.day)


def from_day_folder(name: Optional[bytes]) -> Optional[date]:
    """Of a name like "20240305"."""
    return datetime.strptime(name.decode(), "%Y%m%d").date() if name else None
