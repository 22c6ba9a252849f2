"""Threads, events and the end of an engine, which may come at any moment."""

import gc
import os
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from datetime import datetime

import pytest

import localstorage
from localstorage import Engine, EventKind, Layout


def test_a_long_call_lets_other_threads_run(disk):
    ticks, stop = [], threading.Event()

    def tick():
        while not stop.wait(0.001):
            ticks.append(None)

    piece = bytes(128 << 20)
    ticking = threading.Thread(target=tick)
    interval = sys.getswitchinterval()
    with Engine(disk, raw=True, file_size_mib=1024) as engine, engine.record("door") as channel:
        ticking.start()
        # From here on a thread runs only when another one lets it.
        sys.setswitchinterval(100)
        try:
            before = len(ticks)
            channel.write(piece)
            after = len(ticks)
        finally:
            sys.setswitchinterval(interval)
            stop.set()
            ticking.join()
    assert after - before >= 5


def test_events_that_wait_for_the_interpreter_hold_nobody_up(disk):
    """Each thread has the engine's callback or the interpreter's lock, and wants the other one."""
    told = []

    def on_event(event):
        time.sleep(0.001)
        told.append(event)

    with Engine(disk, layout=Layout.REMOTE_BACKUP, on_event=on_event) as engine:
        def record(camera):
            for minute in range(10):
                start = datetime(2024, 3, 5, 8, minute)
                with engine.record(camera, start, start) as channel:
                    channel.write(b"picture")

        with ThreadPoolExecutor() as pool:
            list(pool.map(record, ["door", "yard", "hall", "gate"]))
        assert len(told) == 80 and len(engine.query()) == 40


def test_threads_share_a_channel_and_the_engine_ends_among_them(disk):
    engine = Engine(disk, raw=True)
    channel = engine.record("door")
    written = []

    def write():
        with pytest.raises(ValueError, match="is closed"):
            while True:
                channel.write(bytes(1000))
                written.append(1000)

    def look():
        with pytest.raises(ValueError, match="is closed"):
            while True:
                assert engine.write_speed >= 0

    with ThreadPoolExecutor() as pool:
        results = [pool.submit(work) for work in (write, write, look)]
        time.sleep(0.1)
        engine.close()
        for result in results:
            result.result()
    (found,) = localstorage.find_recordings(disk)
    assert found.bytes == sum(written) > 0


def test_an_exception_in_on_event_is_reported(disk, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda told: reported.append(told.exc_value))

    def on_event(_event):
        if not reported:
            raise LookupError("of the host")
        engine.record("yard")  # would wait for itself

    with Engine(disk, raw=True, on_event=on_event) as engine:
        engine.record("door").close()
    assert [type(error) for error in reported[:2]] == [LookupError, RuntimeError]


def test_two_engines_have_their_own_events(tmp_path):
    first, second = [], []
    with Engine(tmp_path / "1", on_event=first.append) as one:
        with Engine(tmp_path / "2", on_event=second.append) as other:
            one.close()
            gc.collect()
            other.record("door").close()
    assert not first and second


def test_forgotten_engines_are_closed(disk):
    events = []
    with pytest.warns(ResourceWarning, match="unclosed"):
        Engine(disk, raw=True, on_event=events.append).record("door").write(b"x")
        gc.collect()
    assert events[-1].kind is EventKind.FILE_CLOSED
    Engine(disk).close()  # which could not be, were it in use


@pytest.mark.filterwarnings("ignore::ResourceWarning")
def test_an_engine_is_collected_before_its_channels(disk):
    cycle = [Engine(disk, raw=True)]
    cycle += [cycle, *(cycle[0].record(str(camera)) for camera in range(8))]
    del cycle
    gc.collect()
    Engine(disk).close()


@pytest.mark.filterwarnings("ignore::ResourceWarning")
def test_collected_inside_of_an_event(tmp_path):
    """Of another engine: the one that is collected is closed all the same."""
    cycle = [Engine(tmp_path / "1")]
    cycle.append(cycle)
    with Engine(tmp_path / "2", on_event=lambda event: gc.collect()) as other:
        del cycle
        other.record("door").close()
    for _ in range(100):
        try:
            Engine(tmp_path / "1").close()
            return
        except localstorage.InUse:
            time.sleep(0.05)
    pytest.fail("it is still there")


def test_left_open_at_exit(disk, tmp_path):
    """Threads of the library end before the interpreter does."""
    script = f"""
import localstorage, threading
localstorage.log.to_files({str(tmp_path)!r})
engine = localstorage.Engine({str(disk)!r}, raw=True, file_size_mib=1, on_event=lambda event: None)
channel = engine.record("door")
def write():
    while True:
        channel.write(bytes(1 << 16))
threading.Thread(target=write, daemon=True).start()
channel.write(b"x")
"""
    done = subprocess.run(
        [sys.executable, "-c", script], env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)},
        timeout=60, capture_output=True)
    assert done.returncode == 0, done.stderr
    Engine(disk).close()


def test_a_forked_child_has_no_engine(disk):
    with Engine(disk, raw=True) as engine, engine.record("door") as channel:
        with channel._handle.turn:  # as another thread may have it
            child = os.fork()
            if child == 0:
                try:
                    channel.write(b"of the child")
                except ValueError:
                    engine.close()
                    os._exit(0 if channel.closed and engine.closed else 2)
                finally:
                    os._exit(1)
        assert os.waitpid(child, 0)[1] == 0
        channel.write(b"of the parent")
        (found,) = engine.query()
        assert found.path.read_bytes() == b"of the parent"


def test_ctrl_c_in_on_event_is_raised_behind_the_call(disk):
    def on_event(_event):
        signal.raise_signal(signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        with Engine(disk, raw=True, on_event=on_event) as engine:
            engine.record("door")
    assert engine.closed
