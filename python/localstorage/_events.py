"""From the engine's events to the host's function."""

import ctypes
import threading
from typing import Any, Callable, Generator, Optional

from . import _header
from ._texts import from_c, path_from_c
from ._times import from_wall
from .records import Event, EventKind

OnEvent = Callable[[Event], object]


class _Thread(threading.local):
    tells = False  # an event, at this moment
    held: Optional[BaseException] = None


_thread = _Thread()


def refuse_in_event() -> None:
    """The engine waits for the event to be over, and would be waited for."""
    if _thread.tells:
        raise RuntimeError("on_event must not call an engine")


def outside_of_event(close: Callable[[], None]) -> None:
    """For what is collected, maybe inside of an event: then on a thread that waits for its end."""
    if _thread.tells:
        threading.Thread(target=close).start()
    else:
        close()


def raise_held() -> None:
    """After a call that may tell events: what a signal's handler raised meanwhile."""
    held, _thread.held = _thread.held, None
    if held is not None:
        raise held


def c_callback(on_event: OnEvent) -> Any:
    """For the library, which calls it on threads of its own, too. To be kept meanwhile."""
    teller = _teller(on_event)
    next(teller)
    return _header.EventCallback(teller.send)


def _teller(on_event: OnEvent) -> Generator[None, Any, None]:
    """Takes event after event.

    The handler of a signal may run where a function begins, in front of any "try", and ctypes would
    swallow what it raises. A generator goes on inside of "try".
    """
    while True:
        try:
            while True:
                _tell(on_event, (yield))
        except GeneratorExit:
            raise
        except BaseException as error:
            if threading.get_ident() == threading.main_thread().ident:
                _thread.held = error
            else:
                _report(error)


def _tell(on_event: OnEvent, pointer: Any) -> None:
    try:
        _thread.tells = True
        on_event(_event(pointer.contents))
    except Exception as error:
        _report(error)
    finally:
        _thread.tells = False


def _throw(error: BaseException) -> None:
    raise error


# By way of ctypes, which tells sys.unraisablehook: no function of Python can.
_report = ctypes.PYFUNCTYPE(None, ctypes.py_object)(_throw)


def _event(event: Any) -> Event:
    return Event(
        kind=EventKind(event.kind),
        camera=from_c(event.camera) if event.camera else None,
        path=path_from_c(event.path) if event.path else None,
        time=from_wall(event.time),
        free_mib=event.free_mib,
        errno=event.system_error)
