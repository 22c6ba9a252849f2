#!/usr/bin/python3
"""Records an RTSP camera until it is stopped, as it comes, with the program ffmpeg:

    record_rtsp.py rtsp://192.168.1.20/stream1 front_door /disk1 /var/log/host

A camera that goes away is tried until it comes back, and recorded in a new file. Transport streams
keep H.264, H.265, AAC and MP2; sound of other kinds plays nowhere.
"""

import signal
import subprocess
import sys
import time

import localstorage

SILENCE = 10  # seconds until a camera counts as gone


def connect(address):
    return subprocess.Popen(
        ["ffmpeg", "-nostdin", "-loglevel", "error", "-rtsp_transport", "tcp",
         "-timeout", str(SILENCE * 1_000_000), "-i", address, "-c", "copy", "-f", "mpegts", "-"],
        stdout=subprocess.PIPE)


def record(engine, camera, address):
    with connect(address) as ffmpeg, engine.record(camera) as channel:
        try:
            while piece := ffmpeg.stdout.read1(65536):
                channel.write(piece)
        finally:
            ffmpeg.terminate()
            ffmpeg.stdout.read()  # its last words


def tell(event):
    if event.kind is localstorage.EventKind.FILE_CREATED:
        print(event.path, flush=True)


def main(address, camera, disk, log):
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    localstorage.log.to_files(log)
    # Analysed, so that every file begins with a key frame.
    with localstorage.Engine(disk, analyse=True, file_size_mib=64, on_event=tell) as engine:
        while True:
            try:
                record(engine, camera, address)
            except localstorage.Error as error:
                print(error, file=sys.stderr)
            time.sleep(1)


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
    except KeyboardInterrupt:
        pass
