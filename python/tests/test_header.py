"""The module has what the header declares."""

import ctypes
import re
from pathlib import Path

import pytest

import localstorage
from localstorage import _header

TEXT = (Path(__file__).parents[2] / "include/localstorage/localstorage.h").read_text()
CODE = re.sub(r"//.*", "", TEXT)
ENUMS = {
    "ls_error": localstorage.ErrorCode, "ls_layout": localstorage.Layout,
    "ls_event_kind": localstorage.EventKind, "ls_option": localstorage.Option,
    "ls_end_source": localstorage.EndSource, "ls_log_level": localstorage.log.Level,
    "ls_log_target": localstorage.log.Target}
TYPES = {
    "size_t": ctypes.c_size_t, "bool": ctypes.c_bool, "ls_time": _header.Time,
    "ls_event_callback": _header.EventCallback, "const char* const*": _header.Texts,
    "const char*": ctypes.c_char_p, "void*": ctypes.c_void_p,
    "const void*": ctypes.c_char_p,  # bytes, which the record then keeps
    **dict.fromkeys(["ls_layout", "ls_event_kind", "ls_end_source"], ctypes.c_int),
    **{f"{name}_t": getattr(ctypes, f"c_{name}")
       for name in ("int32", "int64", "uint8", "uint16", "uint32", "uint64")}}


def test_every_function_but_one():
    # A channel of Python is an object: nobody has to find it again.
    assert set(re.findall(r"\b(ls_\w+)\(", CODE)) - set(_header.FUNCTIONS) == {"ls_channel_find"}


@pytest.mark.parametrize("name", re.findall(r"typedef enum (\w+)", CODE))
def test_enum(name):
    body = re.search(rf"typedef enum {name} {{(.*?)}}", CODE, re.S).group(1)
    declared = re.findall(r"\bLS_(\w+) = (\d+)", body.replace("LS_OK = 0", ""))
    assert len(declared) == len(ENUMS[name])
    for text, value in declared:
        assert text.endswith(ENUMS[name](int(value)).name), text


@pytest.mark.parametrize("name", re.findall(r"typedef struct (\w+) {", CODE))
def test_record(name):
    body = re.search(rf"typedef struct {name} {{(.*?)}}", CODE, re.S).group(1)
    fields = re.findall(r"([\w* ]+?[*\w]) +(\w+);", body.replace("\n", " "))
    declared = [(field, TYPES[" ".join(kind.split())]) for kind, field in fields]
    record = getattr(_header, name[2:].title().replace("_", ""))
    assert record._fields_ == declared
