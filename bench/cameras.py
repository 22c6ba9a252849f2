#!/usr/bin/env python3
"""Sixteen live cameras on loopback, for live.py: cameras.py FILE SECONDS.

Each sends this transport stream, which lasts so many seconds, at its own pace and again and again, to
whoever connects, from the latest key frame on; FILE.keys holds where its key frames begin. The ports go to
standard output.
"""
import bisect
import socket
import sys
import threading
import time

CAMERAS = 16
SLICE = 0.04  # s
BEGIN = time.monotonic()


def serve(listener, data, keys, rate):
    while True:
        connection = listener.accept()[0]
        try:
            at = keys[bisect.bisect(keys, int((time.monotonic() - BEGIN) * rate) % len(data)) - 1]
            begin, sent = time.monotonic() - SLICE, 0
            while True:
                due = int((time.monotonic() - begin) * rate) - sent
                while due > 0:
                    piece = data[at:at + due]
                    connection.sendall(piece)
                    at = (at + len(piece)) % len(data)
                    sent += len(piece)
                    due -= len(piece)
                time.sleep(SLICE)
        except OSError:
            connection.close()


def main():
    with open(sys.argv[1], "rb") as file:
        data = memoryview(file.read())
    with open(sys.argv[1] + ".keys") as file:
        keys = [int(line) for line in file]
    for _ in range(CAMERAS):
        listener = socket.create_server(("127.0.0.1", 0))
        print(listener.getsockname()[1], flush=True)
        threading.Thread(target=serve, args=(listener, data, keys, len(data) / float(sys.argv[2])),
                         daemon=True).start()
    threading.Event().wait()


main()
