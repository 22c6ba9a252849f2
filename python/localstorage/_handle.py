"""An engine of the library, which calls of many threads share and one of them ends, and its channels."""

import os
import threading
import weakref
from typing import Any, Optional, Set

from ._events import raise_held, refuse_in_event
from ._library import library


class ChannelHandle:
    """A channel's pointer, for who has the turn; None once the channel or its engine is closed.

    Both have it: where they are forgotten together, either may be collected first.
    """

    def __init__(self, pointer: int) -> None:
        self.pointer: Optional[int] = pointer
        self.turn = threading.Lock()

    def lose(self) -> None:
        """The engine is about to free it."""
        with self.turn:
            self.pointer = None

    def leave_to_parent(self) -> None:
        """See EngineHandle."""
        self.turn = threading.Lock()
        self.pointer = None


class EngineHandle:
    """Lends out the engine's pointer ("with") and frees it when nobody has it any more.

    It outlives the engine of the host, which may be collected at any moment, on any thread.
    """

    def __init__(self, pointer: int, callback: Any) -> None:
        self.callback = callback  # the library calls it for as long as it has the engine
        self.channels: Set[ChannelHandle] = set()  # that are open
        self.closed = False
        self._pointer: Optional[int] = pointer
        self._calls = 0
        self._changed = threading.Condition()
        _handles.add(self)

    def __enter__(self) -> int:
        refuse_in_event()
        with self._changed:
            if self.closed or self._pointer is None:
                raise ValueError("the engine is closed, or left to the parent process")
            self._calls += 1
            return self._pointer

    def __exit__(self, *_: object) -> None:
        with self._changed:
            self._calls -= 1
            self._changed.notify_all()
        raise_held()

    def close(self) -> None:
        """Waits for calls that run; later ones fail. To be called again after Ctrl-C in the wait."""
        refuse_in_event()
        with self._changed:
            self.closed = True
            self._changed.wait_for(lambda: self._calls == 0)
            pointer, self._pointer = self._pointer, None
        if pointer is None:
            return
        for channel in list(self.channels):
            channel.lose()
        library.ls_engine_close(pointer)
        raise_held()

    def leave_to_parent(self) -> None:
        """In a forked child: the engine's threads are not here, and its files are the parent's.

        A thread that is not here either may have held any of the locks.
        """
        self.closed = True
        self._pointer = None
        self._calls = 0
        self._changed = threading.Condition()
        for channel in list(self.channels):
            channel.leave_to_parent()


_handles: "weakref.WeakSet[EngineHandle]" = weakref.WeakSet()


def _after_fork() -> None:
    for handle in list(_handles):
        handle.leave_to_parent()


os.register_at_fork(after_in_child=_after_fork)
