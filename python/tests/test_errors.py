"""What fails says why, and loses nothing."""

import errno
import resource
from datetime import datetime

import pytest

import localstorage
from localstorage import (
    BadArgument, ChannelOpen, DirectoryUnusable, Engine, Error, ErrorCode, InUse, Layout, Option,
    WriteFailed)

EIGHT, NINE = datetime(2024, 3, 5, 8), datetime(2024, 3, 5, 9)

NOWHERE = "/dev/null/disk"
REFUSED = [
    (lambda engine: engine.record("../door", EIGHT, NINE), BadArgument, ErrorCode.CAMERA),
    (lambda engine: engine.record("door"), BadArgument, ErrorCode.TIME),
    (lambda engine: engine.record("door", NINE, EIGHT), BadArgument, ErrorCode.TIME),
    (lambda engine: engine.record("door", EIGHT, NINE, type=9), BadArgument, ErrorCode.ARGUMENT),
    (lambda engine: engine.record("door", EIGHT, NINE, type=2**32 + 1), ValueError, None),
    (lambda engine: engine.record("door\0", EIGHT, NINE), ValueError, None),
    (lambda engine: engine.record("door", EIGHT, NINE, header=bytes(129)), BadArgument,
     ErrorCode.ARGUMENT),
    (lambda engine: engine.record("door", EIGHT, NINE, go_on=True), Error, ErrorCode.FILE),
    (lambda engine: engine.record("yard", EIGHT, NINE), ChannelOpen, ErrorCode.CHANNEL_OPEN),
    (lambda engine: engine.snapshot("a/b", b"jpeg"), BadArgument, ErrorCode.CAMERA),
    (lambda engine: engine.snapshot("door", b""), BadArgument, ErrorCode.ARGUMENT),
    (lambda engine: engine.snapshot("door", "jpeg"), TypeError, None),
    (lambda engine: engine.query("door", NINE, EIGHT), BadArgument, ErrorCode.TIME),
    (lambda engine: engine.query_index("door", NINE, EIGHT), BadArgument, ErrorCode.TIME),
    (lambda engine: Engine(engine.directories), InUse, ErrorCode.IN_USE),
    (lambda engine: Engine([]), BadArgument, ErrorCode.ARGUMENT),
    (lambda engine: Engine(NOWHERE).record("door"), DirectoryUnusable, ErrorCode.DIRECTORY),
    (lambda engine: localstorage.find_disks(NOWHERE), DirectoryUnusable, ErrorCode.DIRECTORY),
    (lambda engine: localstorage.set_option(Option.FULL_SPACE, 1), BadArgument, ErrorCode.ARGUMENT),
    (lambda engine: localstorage.set_option(Option.FULL_SPACE, 2**32 + 64), ValueError, None),
    (lambda engine: localstorage.log.to_stream(2), BadArgument, ErrorCode.ARGUMENT),
]


@pytest.fixture
def engine(disk):
    with Engine(disk, layout=Layout.REMOTE_BACKUP) as engine:
        yield engine


def test_refused(engine):
    with engine.record("yard", EIGHT, NINE):
        for call, kind, code in REFUSED:
            with pytest.raises(kind) as raised:
                call(engine)
            assert getattr(raised.value, "code", None) == code, raised.value


def test_failing_write_has_the_systems_reason(engine):
    limit = resource.getrlimit(resource.RLIMIT_FSIZE)
    with engine.record("door", EIGHT, NINE) as channel:
        resource.setrlimit(resource.RLIMIT_FSIZE, (1000, limit[1]))
        try:
            with pytest.raises(WriteFailed, match="to door: not all.*: File too large") as raised:
                channel.write(bytes(2000))
        finally:
            resource.setrlimit(resource.RLIMIT_FSIZE, limit)
        assert raised.value.errno == errno.EFBIG
        channel.write(bytes(2000))
    (found,) = engine.query("door")
    assert found.bytes > 2000


def test_codes_that_a_later_library_adds():
    assert ErrorCode(99).name == "UNKNOWN_99" and str(Error(99)) == "unknown error"


def test_closed(disk):
    with Engine(disk) as engine:
        open_channel, closed_channel = engine.record("door"), engine.record("yard")
        closed_channel.close()
        closed_channel.close()
    engine.close()
    assert engine.closed and open_channel.closed
    for call in (
            lambda: open_channel.write(b"x"), lambda: closed_channel.write(b"x"), engine.query,
            lambda: engine.record("door"), lambda: engine.write_speed):
        with pytest.raises(ValueError, match="is closed"):
            call()
