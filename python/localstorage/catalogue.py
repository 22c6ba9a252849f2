"""What is recorded.

These functions need no engine and change nothing: they read record directories of both layouts,
also while a host of any process records there.
"""

import ctypes
from datetime import datetime
from typing import Any, Callable, Iterable, List, Optional, TypeVar

from . import _header
from ._library import library
from ._texts import (
    AnyPath, Directories, directory_list, from_c, path_from_c, texts_to_c, words)
from ._times import MICROSECOND, from_day_folder, from_moment, to_moment
from .errors import check
from .records import Camera, Disk, EndSource, Layout, Picture, Recording, Span

Found = TypeVar("Found")

_LAST = 2**63 - 1  # moment


def find_recordings(
        directories: Directories, cameras: Optional[Iterable[str]] = None,
        start: Optional[datetime] = None, end: Optional[datetime] = None, *, type: int = 0,
        exact: bool = False) -> List[Recording]:
    """The recordings that overlap [start, end), sorted by start, then camera.

    cameras: None for all. start, end: None for no bound. type: 1 to 8, 0 for all; the client layout
    knows none. exact: read from each recording when it began and ended; else only where no other
    one of its camera adjoins, and without a range from none.
    """
    return _find(
        library.ls_find_recordings, library.ls_next_recording, _recording, directories,
        _filter(cameras, start, end, type, exact))


def find_coverage(
        directories: Directories, cameras: Optional[Iterable[str]] = None,
        start: Optional[datetime] = None, end: Optional[datetime] = None, *, type: int = 0,
        exact: bool = False) -> List[Span]:
    """What such recordings cover of the range, and the gaps between them.

    Camera by camera, in order of time. Recordings at most 2 seconds apart are one span.
    """
    return _find(
        library.ls_find_coverage, library.ls_next_span, _span, directories,
        _filter(cameras, start, end, type, exact))


def find_pictures(
        directories: Directories, cameras: Optional[Iterable[str]] = None,
        start: Optional[datetime] = None, end: Optional[datetime] = None) -> List[Picture]:
    """The pictures that were stored in [start, end), sorted by time, then camera."""
    return _find(
        library.ls_find_pictures, library.ls_next_picture, _picture, directories,
        _filter(cameras, start, end))


def find_disks(directories: Directories) -> List[Disk]:
    """What stands below each record directory, in the order given."""
    return _find(library.ls_find_disks, library.ls_next_disk, _disk, directories)


def find_cameras(directories: Directories) -> List[Camera]:
    """What there is of each camera that has recordings, sorted by its identifier."""
    return _find(library.ls_find_cameras, library.ls_next_camera, _camera, directories)


def take(query: Any, next_one: Callable[[Any], Any], give: Callable[[Any], Found]) -> List[Found]:
    """All that a query of the library has found. Frees it."""
    found: List[Found] = []
    try:
        while True:
            record = next_one(query)
            if not record:
                return found
            found.append(give(record))
    finally:
        library.ls_query_close(query)


def _find(
        find: Any, next_one: Any, give: Callable[[Any], Found], directories: Directories,
        *wanted: Any) -> List[Found]:
    query, reason = ctypes.c_void_p(), ctypes.c_int()
    listed = directory_list(directories)
    code = find(*texts_to_c(listed), *wanted, query, reason)
    check(code, f"looking into {words(listed)}", reason)
    return take(query, next_one, lambda pointer: give(pointer.contents))


def _filter(
        cameras: Optional[Iterable[AnyPath]], start: Optional[datetime], end: Optional[datetime],
        type: int = 0, exact: bool = False) -> _header.Filter:
    if isinstance(cameras, str):  # else its letters would be cameras
        cameras = [cameras]
    wanted = _header.filled(_header.Filter, type=type, exact=exact)
    if cameras is not None:
        wanted.cameras, wanted.camera_count = texts_to_c(cameras)
    if start is not None or end is not None:
        wanted.begin = to_moment(start) if start is not None else 0
        wanted.end = to_moment(end) if end is not None else _LAST
    return wanted


def _recording(found: Any) -> Recording:
    return Recording(
        path=path_from_c(found.path), directory=path_from_c(found.directory),
        camera=from_c(found.camera), layout=Layout(found.layout), type=found.type,
        start=from_moment(found.begin), end=from_moment(found.end),
        end_source=EndSource(found.end_source), bytes=found.bytes,
        changed=from_moment(found.changed))


def _span(found: Any) -> Span:
    return Span(
        camera=from_c(found.camera), start=from_moment(found.begin), end=from_moment(found.end),
        gap=found.gap)


def _picture(found: Any) -> Picture:
    return Picture(
        path=path_from_c(found.path), directory=path_from_c(found.directory),
        camera=from_c(found.camera), taken=from_moment(found.taken), bytes=found.bytes)


def _disk(found: Any) -> Disk:
    return Disk(
        directory=path_from_c(found.directory),
        record_folder=path_from_c(found.record_folder) if found.record_folder else None,
        first_day=from_day_folder(found.first_day), last_day=from_day_folder(found.last_day),
        free_bytes=found.free_bytes, full=found.full, recordings=found.recordings,
        recording_bytes=found.recording_bytes, pictures=found.pictures,
        picture_bytes=found.picture_bytes)


def _camera(found: Any) -> Camera:
    return Camera(
        camera=from_c(found.camera), recordings=found.recordings, bytes=found.bytes,
        start=from_moment(found.begin), end=from_moment(found.end), client=found.client,
        recording=found.recording, today=found.today * MICROSECOND,
        gap_today=found.gap_today * MICROSECOND)
