#!/usr/bin/env python3
"""Many viewers of what is being recorded: the processor time of "localstorage serve".

    bench/viewers.py TOOL [VIEWERS [SECONDS]]

A camera of 8 Mbit/s is recorded as it is filmed; 50 viewers follow it for 30 seconds, or as many and as
long as told. Prints what they were sent and how much of one core that took.
"""
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
import urllib.request
from datetime import datetime, timezone

TOOL = os.path.abspath(sys.argv[1])
VIEWERS = int(sys.argv[2]) if len(sys.argv) > 2 else 50
SECONDS = float(sys.argv[3]) if len(sys.argv) > 3 else 30
RATE = 8_000_000  # bit/s
LEAD = 5  # s: recorded before the viewers come


def make_stream(path, seconds):
    subprocess.run(
        ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "lavfi", "-i",
         "nullsrc=size=640x360:rate=25,geq=random(1)*255:128:128", "-t", "5", "-c:v", "libx264",
         "-preset", "ultrafast", "-g", "25", "-b:v", str(RATE), "-minrate", str(RATE), "-maxrate",
         str(RATE), "-bufsize", str(RATE // 4), "-pix_fmt", "yuv420p", "-f", "mpegts", "short.ts"],
        check=True)
    subprocess.run(
        ["ffmpeg", "-v", "error", "-nostdin", "-y", "-stream_loop", str(int(seconds // 5) + 1), "-i",
         "short.ts", "-t", str(seconds), "-c", "copy", path], check=True)


def record(path, source, seconds):
    """Lets a file grow as a camera fills it."""
    data = open(source, "rb").read()
    begin = time.monotonic()
    with open(path, "wb", buffering=0) as file:
        written = 0
        while written < len(data):
            due = int(len(data) * min(1, (time.monotonic() - begin) / seconds))
            file.write(data[written:due])
            written = due
            time.sleep(0.04)


def watch(url, end, received, n):
    with urllib.request.urlopen(url, timeout=20) as answer:
        while time.monotonic() < end:
            block = answer.read1(1 << 16)
            if not block:
                return
            received[n] += len(block)


def processor_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    length = LEAD + SECONDS + 10
    make_stream("camera.ts", length)
    now = datetime.now()
    folder = f"disk/RecordFile/{now:%Y%m%d}/door"
    os.makedirs(folder)
    host = threading.Thread(target=record, daemon=True,
                            args=(f"{folder}/{now:%Y%m%d_%H%M%S}.mp4", "camera.ts", length))
    host.start()
    serve = subprocess.Popen([TOOL, "--log-dir", "log", "serve", "--dir", "disk", "--listen",
                              "127.0.0.1:0"], stdout=subprocess.PIPE, text=True)
    address = re.search(r"http\S+", serve.stdout.readline()).group()
    time.sleep(LEAD)
    start = urllib.parse.quote(datetime.now(timezone.utc).isoformat())
    received = [0] * VIEWERS
    before, begin = processor_seconds(serve.pid), time.monotonic()
    viewers = [threading.Thread(target=watch, args=(f"{address}/get?path=door&start={start}",
                                                    begin + SECONDS, received, n))
               for n in range(VIEWERS)]
    for viewer in viewers:
        viewer.start()
    for viewer in viewers:
        viewer.join()
    elapsed = time.monotonic() - begin
    used = processor_seconds(serve.pid) - before
    serve.send_signal(signal.SIGTERM)
    serve.wait()
    rates = sorted(n * 8 / elapsed / 1e6 for n in received)
    print(f"{VIEWERS} viewers, {elapsed:.0f} s: {rates[0]:.1f} to {rates[-1]:.1f} Mbit/s each, "
          f"{100 * used / elapsed:.0f} % of one core")
