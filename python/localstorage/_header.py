"""What localstorage.h declares: its records and the signatures of its functions."""

import ctypes
from ctypes import POINTER, c_bool, c_char_p, c_int, c_int32, c_int64, c_size_t, c_uint8, c_uint16
from ctypes import c_uint32, c_uint64, c_void_p
from typing import Any, Dict, List, Tuple, Type, TypeVar

Texts = POINTER(c_char_p)
Handle = c_void_p  # of an engine, a channel, a query
Reason = POINTER(c_int)  # the system's error number


class Time(ctypes.Structure):
    _fields_ = [
        ("year", c_uint16), ("month", c_uint8), ("day", c_uint8), ("hour", c_uint8),
        ("minute", c_uint8), ("second", c_uint8), ("reserved", c_uint8)]


class Event(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("kind", c_int), ("system_error", c_int32), ("channel_user", c_void_p),
        ("camera", c_char_p), ("path", c_char_p), ("time", Time), ("free_mib", c_uint64)]


# Deliberate: without the user pointer behind the event, since what is called takes one argument.
EventCallback = ctypes.CFUNCTYPE(None, POINTER(Event))


class Settings(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("directories", Texts), ("directory_count", c_size_t),
        ("layout", c_int32), ("max_channels", c_uint32), ("file_size_mib", c_uint32),
        ("raw", c_bool), ("analyse", c_bool), ("next_disk", c_bool), ("keep_all", c_bool),
        ("delete_pictures", c_bool), ("on_event", EventCallback), ("user", c_void_p)]


class ChannelSettings(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("camera", c_char_p), ("begin", Time), ("end", Time),
        ("type", c_uint32), ("go_on", c_bool), ("header", c_char_p), ("header_size", c_size_t),
        ("user", c_void_p)]


class Filter(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("cameras", Texts), ("camera_count", c_size_t), ("begin", c_int64),
        ("end", c_int64), ("type", c_uint32), ("exact", c_bool)]


class Recording(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("path", c_char_p), ("directory", c_char_p), ("camera", c_char_p),
        ("layout", c_int), ("type", c_uint32), ("begin", c_int64), ("end", c_int64),
        ("end_source", c_int), ("bytes", c_uint64), ("changed", c_int64)]


class Span(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("camera", c_char_p), ("begin", c_int64), ("end", c_int64),
        ("gap", c_bool)]


class Picture(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("path", c_char_p), ("directory", c_char_p), ("camera", c_char_p),
        ("taken", c_int64), ("bytes", c_uint64)]


class Disk(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("directory", c_char_p), ("record_folder", c_char_p),
        ("first_day", c_char_p), ("last_day", c_char_p), ("free_bytes", c_uint64),
        ("full", c_bool), ("recordings", c_uint64), ("recording_bytes", c_uint64),
        ("pictures", c_uint64), ("picture_bytes", c_uint64)]


class Camera(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t), ("camera", c_char_p), ("recordings", c_uint64), ("bytes", c_uint64),
        ("begin", c_int64), ("end", c_int64), ("client", c_bool), ("recording", c_bool),
        ("today", c_int64), ("gap_today", c_int64)]


# Name: result, parameters.
FUNCTIONS: Dict[str, Tuple[Any, List[Any]]] = {
    "ls_error_text": (c_char_p, [c_int]),
    "ls_version": (c_char_p, []),
    "ls_time_of": (c_int, [c_int64, POINTER(Time)]),
    "ls_engine_open": (c_int, [POINTER(Settings), POINTER(Handle)]),
    "ls_engine_close": (None, [Handle]),
    "ls_engine_write_speed": (c_uint32, [Handle]),
    "ls_set_option": (c_int, [c_int, c_int32]),
    "ls_channel_open": (c_int, [Handle, POINTER(ChannelSettings), POINTER(Handle), Reason]),
    "ls_write": (c_int, [Handle, c_void_p, c_size_t, Reason]),
    "ls_write_header": (c_int, [Handle, c_void_p, c_size_t, Reason]),
    "ls_channel_close": (c_int, [Handle, Reason]),
    "ls_snapshot": (c_int, [Handle, c_char_p, c_void_p, c_size_t, c_char_p, c_size_t, Reason]),
    "ls_delete_pictures": (c_int, [Handle, POINTER(Time)]),
    "ls_find_recordings": (c_int, [Texts, c_size_t, POINTER(Filter), POINTER(Handle), Reason]),
    "ls_next_recording": (POINTER(Recording), [Handle]),
    "ls_find_coverage": (c_int, [Texts, c_size_t, POINTER(Filter), POINTER(Handle), Reason]),
    "ls_next_span": (POINTER(Span), [Handle]),
    "ls_find_pictures": (c_int, [Texts, c_size_t, POINTER(Filter), POINTER(Handle), Reason]),
    "ls_next_picture": (POINTER(Picture), [Handle]),
    "ls_find_disks": (c_int, [Texts, c_size_t, POINTER(Handle), Reason]),
    "ls_next_disk": (POINTER(Disk), [Handle]),
    "ls_find_cameras": (c_int, [Texts, c_size_t, POINTER(Handle), Reason]),
    "ls_next_camera": (POINTER(Camera), [Handle]),
    "ls_engine_find": (
        c_int, [Handle, c_char_p, c_uint32, POINTER(Time), POINTER(Time), POINTER(Handle)]),
    "ls_next_path": (c_char_p, [Handle]),
    "ls_query_close": (None, [Handle]),
    "ls_log_to_files": (c_int, [c_char_p, c_uint32, c_bool]),
    "ls_log_to_stream": (c_int, [c_int]),
    "ls_log_off": (c_int, [c_int]),
    "ls_log_limit": (c_int, [c_int]),
    "ls_log_write": (c_int, [c_int, c_char_p]),
}

Record = TypeVar("Record", bound=ctypes.Structure)


def filled(kind: Type[Record], **fields: Any) -> Record:
    """A record for the library, with its size."""
    record = kind()
    setattr(record, "size", ctypes.sizeof(record))
    for name, value in fields.items():
        setattr(record, name, value)
        if isinstance(value, int):
            _refuse_cut(getattr(record, name), value, name)
    return record


def int32(value: int) -> c_int32:
    """An argument of a function."""
    _refuse_cut(c_int32(value).value, value, "the value")
    return c_int32(value)


def uint32(value: int) -> c_uint32:
    """An argument of a function."""
    _refuse_cut(c_uint32(value).value, value, "the value")
    return c_uint32(value)


def _refuse_cut(stored: int, value: int, name: str) -> None:
    """ctypes cuts a number that does not fit."""
    if stored != value:
        raise ValueError(f"{name} is out of its bounds: {value}")
