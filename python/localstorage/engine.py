"""The engine."""

import ctypes
import warnings
import weakref
from datetime import date, datetime
from pathlib import Path
from typing import Any, List, Optional, Tuple

from . import _header, catalogue
from ._buffers import AnyBytes, with_bytes
from ._events import OnEvent, c_callback, outside_of_event, raise_held, refuse_in_event
from ._handle import EngineHandle
from ._library import library
from ._texts import Directories, directory_list, path_from_c, texts_to_c, to_c, words
from ._times import to_wall, to_wall_day
from .channel import Channel
from .errors import check
from .records import Layout, Recording

_PATH_SIZE = 4096


class Engine:
    """A storage engine, which has its record directories for itself.

    A context manager, which closes it. Any thread may call. Calls may wait for disks; other threads
    of Python run meanwhile. An engine that nobody has any more is closed, and so are those that are
    left when the interpreter ends. A forked child has no engine: those that it sees are closed
    there, and go on in the parent.
    """

    def __init__(
            self, directories: Directories, *, layout: Layout = Layout.CLIENT,
            on_event: Optional[OnEvent] = None, max_channels: int = 0, file_size_mib: int = 0,
            raw: bool = False, analyse: bool = False, next_disk: bool = False,
            keep_all: bool = False, delete_pictures: bool = False) -> None:
        """Takes over the directories, reads or mends their indexes. Full disks are no error here.

        directories: one per disk, best first; missing ones are made.
        on_event: called with every Event, on the thread of a call or one of the engine's, one at
            a time. Be quick and call no engine. What it raises goes to sys.unraisablehook.
        max_channels: cameras that are going to be recorded, at most 64; 0: any.
        file_size_mib: of a file in the client layout, in MiB, at most 2048; 0: 256.
        raw: the stream is no video; not to be combined with analyse.
        analyse: find key frames: recording begins at one, files are cut in front of one.
        next_disk: a full disk makes the engine look for another one.
        keep_all: full disks do not make the engine delete the oldest day.
        delete_pictures: they make it delete pictures, not recordings.

        Raises InUse, DirectoryUnusable, BadArgument, Error.
        """
        refuse_in_event()
        listed = directory_list(directories)
        self._directories = [path_from_c(to_c(directory)) for directory in listed]
        texts, count = texts_to_c(listed)
        settings = _header.filled(
            _header.Settings, directories=texts, directory_count=count, layout=layout,
            max_channels=max_channels, file_size_mib=file_size_mib, raw=raw, analyse=analyse,
            next_disk=next_disk, keep_all=keep_all, delete_pictures=delete_pictures)
        callback = None if on_event is None else c_callback(on_event)
        if callback is not None:
            settings.on_event = callback
        pointer = ctypes.c_void_p()
        check(library.ls_engine_open(settings, pointer), f"opening {words(listed)}")
        assert pointer.value is not None
        self._handle = EngineHandle(pointer.value, callback)
        self._finalizer = weakref.finalize(self, _close_forgotten, self._handle, repr(self))
        raise_held()

    @property
    def directories(self) -> Tuple[Path, ...]:
        """The record directories."""
        return tuple(self._directories)

    @property
    def closed(self) -> bool:
        """Whether it has ended."""
        return self._handle.closed

    @property
    def write_speed(self) -> int:
        """Sum over the open channels of each one's mean rate since its file began, in KiB/s."""
        with self._handle as engine:
            return int(library.ls_engine_write_speed(engine))

    def record(
            self, camera: str, start: Optional[datetime] = None, end: Optional[datetime] = None, *,
            type: int = 1, go_on: bool = False, header: bytes = b"") -> Channel:
        """Begins a recording.

        camera: 1 to 63 bytes without "/", "\\" and control characters, not "." or "..", not the
            name of a file of the index.
        start, end: first and last second, remote-backup layout, which needs them.
        type: kind of recording, 1 to 8, as the host understands it; remote-backup layout.
        go_on: continue an existing file; else it is emptied or, in the client layout, a new one is
            made.
        header: of the stream, in front of every file; at most 128 bytes.

        Raises DiskFull, ChannelOpen, BadArgument, Error.
        """
        settings = _header.filled(
            _header.ChannelSettings, camera=to_c(camera), type=type, go_on=go_on,
            header=bytes(header), header_size=len(header))
        for field, time in ("begin", start), ("end", end):
            if time is not None:
                setattr(settings, field, to_wall(time))
        pointer, reason = ctypes.c_void_p(), ctypes.c_int()
        with self._handle as engine:
            code = library.ls_channel_open(engine, settings, pointer, reason)
            check(code, f"recording {camera}", reason)
            assert pointer.value is not None
            channel = Channel(self, pointer.value, camera)
            return channel  # what is raised on the way out has it, and the engine closes it

    def snapshot(self, camera: str, data: AnyBytes) -> Path:
        """Stores a picture of a camera (JPEG), and tells its path.

        It is named by the current second; a second one of that second replaces the first. Raises
        DiskFull, BadArgument, Error.
        """
        path, reason = ctypes.create_string_buffer(_PATH_SIZE), ctypes.c_int()

        def call(address: Any, size: int) -> None:
            with self._handle as engine:
                code = library.ls_snapshot(
                    engine, to_c(camera), address, size, path, _PATH_SIZE, reason)
                check(code, f"storing a picture of {camera}", reason)

        with_bytes(data, call)
        return path_from_c(path.value)

    def delete_pictures(self, day: date) -> None:
        """Deletes the pictures of that day and before on the current disk, as far as it can."""
        with self._handle as engine:
            check(library.ls_delete_pictures(engine, to_wall_day(day)), str(day))

    def query(
            self, camera: Optional[str] = None, start: Optional[datetime] = None,
            end: Optional[datetime] = None, *, type: int = 0, exact: bool = False
    ) -> List[Recording]:
        """The recordings of a camera (None: of all) in [start, end): see find_recordings."""
        with self._handle:
            return catalogue.find_recordings(
                self._directories, None if camera is None else [camera], start, end, type=type,
                exact=exact)

    def query_index(
            self, camera: str, start: datetime, end: datetime, *, type: int = 0) -> List[Path]:
        """The paths of recordings in the index in memory, without asking a disk, sorted.

        Remote-backup layout only. They overlap the seconds [start, end]. type: 1 to 8, 0 for all.
        """
        query = ctypes.c_void_p()
        with self._handle as engine:
            code = library.ls_engine_find(
                engine, to_c(camera), _header.uint32(type), to_wall(start), to_wall(end), query)
            check(code, f"looking for {camera}")
        return catalogue.take(query, library.ls_next_path, path_from_c)

    def close(self) -> None:
        """Waits for calls that run, closes the channels that are open, and ends the engine.

        Those channels are closed without events unless something of a stream is lost.
        """
        self._handle.close()
        self._finalizer.detach()

    def __enter__(self) -> "Engine":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<localstorage.Engine {words(self._directories)}>"


def _close_forgotten(handle: EngineHandle, name: str) -> None:
    if not handle.closed:
        warnings.warn(f"unclosed {name}", ResourceWarning)
    outside_of_event(handle.close)
