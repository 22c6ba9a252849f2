"""An open recording."""

import ctypes
import warnings
from typing import TYPE_CHECKING, Any

from ._buffers import AnyBytes, with_bytes
from ._events import outside_of_event, raise_held, refuse_in_event
from ._handle import ChannelHandle
from ._library import library
from .errors import ErrorCode, check

if TYPE_CHECKING:
    from .engine import Engine


class Channel:
    """An open recording of a camera: what Engine.record gives. A context manager, which closes it.

    Any thread may call, one after the other: a call waits for the one before.
    """

    def __init__(self, engine: "Engine", pointer: int, camera: str) -> None:
        self._engine = engine  # not to be collected before its channels
        self._handle = ChannelHandle(pointer)
        engine._handle.channels.add(self._handle)
        self._camera = camera
        self._reason = ctypes.c_int()  # of the call that has the turn

    @property
    def camera(self) -> str:
        """The camera's identifier."""
        return self._camera

    @property
    def closed(self) -> bool:
        """Whether it has ended, by itself or with its engine."""
        return self._handle.pointer is None

    def write(self, data: AnyBytes) -> None:
        """Appends a piece of the stream, of any size: bytes or whatever has a buffer, not copied.

        Other threads of Python run meanwhile; they must not change the data. After an error the
        channel stays open, and later calls try again.
        """
        self._call(library.ls_write, data)

    def write_header(self, data: AnyBytes) -> None:
        """Another stream header, for the files from the next one on; at most 128 bytes."""
        self._call(library.ls_write_header, data)

    def close(self) -> None:
        """Ends the recording, also when it raises WriteFailed: the end of it was not written."""
        refuse_in_event()
        with self._handle.turn:
            if self._handle.pointer is None:
                return
            code = library.ls_channel_close(self._handle.pointer, self._reason)
            if code != ErrorCode.NO_MEMORY:  # then it is still open
                self._handle.pointer = None
                self._engine._handle.channels.discard(self._handle)
            raise_held()
            check(code, f"closing {self._camera}", self._reason)

    def __enter__(self) -> "Channel":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        if not self.closed:
            warnings.warn(f"unclosed {self!r}", ResourceWarning, source=self)
            outside_of_event(self.close)

    def __repr__(self) -> str:
        return f"<localstorage.Channel {self._camera!r}{' closed' if self.closed else ''}>"

    def _call(self, function: Any, data: AnyBytes) -> None:
        refuse_in_event()

        def call(address: Any, size: int) -> None:
            with self._handle.turn:
                if self._handle.pointer is None:
                    raise ValueError("the channel is closed, or left to the parent process")
                code = function(self._handle.pointer, address, size, self._reason)
                raise_held()
                check(code, f"writing to {self._camera}", self._reason)

        with_bytes(data, call)
