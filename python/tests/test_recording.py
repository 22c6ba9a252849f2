"""What is recorded is found again, in both layouts."""

import os
import re
import signal
import subprocess
import sys
from array import array
from datetime import date, datetime, timedelta, timezone
from pathlib import Path

import pytest

import localstorage
from localstorage import Engine, EventKind, Layout

ROOT = Path(__file__).parents[2]
EIGHT = datetime(2024, 3, 5, 8).astimezone()
HOUR = timedelta(hours=1)


def now():
    return datetime.now(timezone.utc)


def record(engine, start, end, data=b"picture"):
    with engine.record("door", start, end) as channel:
        channel.write(data)


def test_backup(disk):
    events = []
    with Engine(disk, layout=Layout.REMOTE_BACKUP, on_event=events.append) as engine:
        record(engine, EIGHT, EIGHT + HOUR / 2)
        record(engine, EIGHT.astimezone(timezone.utc) + HOUR, EIGHT.replace(tzinfo=None) + 2 * HOUR)
        assert [event.kind for event in events] == [
            EventKind.FILE_CREATED, EventKind.FILE_CLOSED] * 2
        assert events[0].camera == "door" and abs(events[0].time - now()) < HOUR

        first, second = engine.query("door")
        assert engine.query("door", EIGHT + HOUR, EIGHT + 2 * HOUR) == [second]
        assert engine.query("yard") == [] == engine.query("door", end=EIGHT)
        assert (first.start, first.end) == (EIGHT, EIGHT + HOUR / 2)
        assert (second.start, second.end) == (EIGHT + HOUR, EIGHT + 2 * HOUR)
        assert (first.camera, first.bytes, first.directory) == ("door", 7, disk)
        assert first.type == 1 and first.layout is Layout.REMOTE_BACKUP
        assert first.path == events[1].path and first.path.read_bytes() == b"picture"
        assert engine.query_index("door", EIGHT + HOUR, EIGHT + 2 * HOUR) == [second.path]

        record(engine, EIGHT, EIGHT + HOUR / 2, b"again")
        with engine.record("door", EIGHT, EIGHT + HOUR / 2, go_on=True) as channel:
            channel.write(b" and on")
        assert first.path.read_bytes() == b"again and on"

    # Without an engine.
    assert [(span.start, span.end, span.gap) for span in localstorage.find_coverage(disk)] == [
        (EIGHT, EIGHT + HOUR / 2, False), (EIGHT + HOUR / 2, EIGHT + HOUR, True),
        (EIGHT + HOUR, EIGHT + 2 * HOUR, False)]
    (found,) = localstorage.find_disks([disk])
    assert (found.recordings, found.recording_bytes, found.first_day) == (2, 19, date(2024, 3, 5))
    assert found.directory == disk and found.free_bytes > 0 and found.last_day == found.first_day
    (camera,) = localstorage.find_cameras(disk)
    assert (camera.camera, camera.start, camera.end) == ("door", EIGHT, EIGHT + 2 * HOUR)
    assert not camera.client and camera.today == timedelta(0)


def test_client(disk):
    events = []
    piece = os.urandom(1 << 20)
    with Engine([disk], raw=True, file_size_mib=1, on_event=events.append) as engine:
        with engine.record("yard", header=b"head") as channel:
            channel.write(piece)
            assert engine.write_speed > 0
            channel.write_header(b"tail")
            channel.write(memoryview(piece))
        assert [event.kind for event in events].count(EventKind.FILE_CREATED) == 2
        files = engine.query("yard")
        assert [file.path.read_bytes() for file in files] == [b"head" + piece, b"tail" + piece]
        assert all(file.layout is Layout.CLIENT for file in files)

        picture = engine.snapshot("yard", b"jpeg")
        assert picture.read_bytes() == b"jpeg"
        (found,) = localstorage.find_pictures(disk, ["yard"], datetime.now() - HOUR)
        assert (found.path, found.camera, found.bytes) == (picture, "yard", 4)
        assert abs(found.taken - now()) < HOUR
        assert localstorage.find_pictures(disk, ["door"]) == []
        engine.delete_pictures(date.today() + timedelta(days=1))
        assert not picture.exists()


@pytest.mark.parametrize("data", [
    b"\0bytes\0", bytearray(b"\0array\0"), memoryview(b"-\0view\0-")[1:7], array("I", [1, 2, 3]),
    memoryview(bytearray(b"-\0view\0-"))[1:], b"", bytearray()])
def test_every_buffer_is_written_as_it_is(disk, data):
    with Engine(disk, raw=True) as engine:
        with engine.record("door") as channel:
            channel.write(b"<")
            channel.write(data)
            channel.write(b">")
        if isinstance(data, bytearray):
            data.append(0)  # it is free again
            del data[-1]
        (file,) = engine.query()
        assert file.path.read_bytes() == b"<" + bytes(data) + b">"


def test_example(disk, tmp_path):
    """With a camera of one access unit and a program that only plays that."""
    clip = ROOT / "fuzz/seeds/streamprobe/transport"
    program = tmp_path / "ffmpeg"
    program.write_text(f"#!/bin/sh\nexec cat {clip}\n")
    program.chmod(0o755)
    path = {"PATH": f"{tmp_path}:{os.environ['PATH']}", "PYTHONPATH": str(ROOT / "python")}
    recorder = subprocess.Popen(
        [sys.executable, ROOT / "examples/record_rtsp.py", "rtsp://", "door", disk, tmp_path],
        env={**os.environ, **path}, stdout=subprocess.PIPE)
    with recorder:
        first, second = (Path(os.fsdecode(recorder.stdout.readline().rstrip())) for _ in range(2))
        recorder.send_signal(signal.SIGTERM)
    assert recorder.returncode == 0 and first != second and first.read_bytes() == clip.read_bytes()


@pytest.mark.parametrize("page", ["README.md", "docs/python.md"])
def test_programs_of_the_pages(page, tmp_path, capsys):
    known = {}
    blocks = re.findall(r"```python\n(.*?)```", (ROOT / page).read_text(), re.S)
    for block in blocks:
        exec(re.sub(r'"/(disk\d|var/log)', rf'"{tmp_path}/\1', block), known)
    assert blocks and f"{tmp_path}/disk1/RecordFile/" in capsys.readouterr().out
