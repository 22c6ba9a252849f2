#!/usr/bin/env python3
"""Recording sixteen live cameras against as many processes of ffmpeg, and exporting an hour.

    bench/live.py TOOL [SECONDS]

The cameras (cameras.py) send a transport stream of 8 Mbit/s, H.264 with AAC, over loopback TCP. Both record
them for a minute, or as long as told, five times in turns. Prints rows as script/bench does; with five
repetitions of a minute it takes a quarter of an hour.
"""
import glob
import json
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from datetime import datetime

REPETITIONS = 5
CLIP = 80  # s: of the stream that the cameras send
TOOL = sys.argv[1]
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 60
HERE = os.path.dirname(os.path.abspath(__file__))


def make_stream(path, seconds, rate):
    """With a key frame each second; where they begin, with the tables in front, goes to PATH.keys."""
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
         "testsrc2=size=640x360:rate=25,noise=alls=30:allf=t", "-f", "lavfi", "-i",
         "sine=sample_rate=48000", "-t", str(seconds), "-pix_fmt", "yuv420p", "-c:v", "libx264",
         "-preset", "ultrafast", "-g", "25", "-b:v", rate, "-minrate", rate, "-maxrate", rate,
         "-bufsize", rate, "-x264-params", "nal-hrd=cbr", "-c:a", "aac",
         "-mpegts_flags", "+pat_pmt_at_frames", "-f", "mpegts", path], check=True)
    packets = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pos,flags",
         "-of", "csv=p=0", path], stdout=subprocess.PIPE, text=True, check=True).stdout
    with open(path + ".keys", "w") as file:
        for packet in packets.split():
            position, flags = packet.split(",")[:2]
            if "K" in flags:
                print(int(position) - 2 * 188, file=file)


class Cameras:
    def __init__(self, stream):
        self.process = subprocess.Popen([sys.executable, HERE + "/cameras.py", stream, str(CLIP)],
                                        stdout=subprocess.PIPE, text=True)
        self.addresses = [f"tcp://127.0.0.1:{self.process.stdout.readline().strip()}"
                          for _ in range(16)]

    def __enter__(self):
        return self.addresses

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def start_ours(folder, addresses):
    options = [x for n, address in enumerate(addresses) for x in ("--camera", f"c{n}={address}")]
    return [subprocess.Popen([TOOL, "--log-dir", folder + "/log", "record", "--dir", folder, "--json",
                              *options], stdout=subprocess.DEVNULL)]


def start_theirs(folder, addresses):
    for n in range(len(addresses)):
        os.mkdir(f"{folder}/{n}")
    return [subprocess.Popen(["ffmpeg", "-nostdin", "-v", "fatal", "-i", address, "-c", "copy", "-f",
                              "segment", "-segment_format", "mpegts", "-segment_time", "300",
                              f"{folder}/{n}/%03d.ts"]) for n, address in enumerate(addresses)]


def stop(processes):
    """Processor time in seconds, and resident memory in KiB, of all of them."""
    for process in processes:
        process.send_signal(signal.SIGINT)
    used = [os.wait4(process.pid, 0)[2] for process in processes]
    return sum(u.ru_utime + u.ru_stime for u in used), sum(u.ru_maxrss for u in used)


def wait_for_bytes(folder, kind, cameras=16):
    """Until each camera has a byte on disk; seconds."""
    begin = time.monotonic()
    while True:
        files = [f for f in glob.glob(f"{folder}/**/*.{kind}", recursive=True) if os.path.getsize(f)]
        if len({os.path.dirname(f) for f in files}) == cameras:
            return time.monotonic() - begin
        time.sleep(0.02)


def record(start, kind, folder, stream):
    """Processor time, memory, and from the start to the first byte of the last camera."""
    with Cameras(stream) as addresses:
        begin = time.monotonic()
        processes = start(folder, addresses)
        first = wait_for_bytes(folder, kind)
        time.sleep(max(0, begin + SECONDS - time.monotonic()))
        return *stop(processes), first


def restart(folder, stream):
    """The most that one of the cameras loses, in seconds."""
    with Cameras(stream) as addresses:
        for _ in range(2):
            processes = start_ours(folder, addresses)
            time.sleep(8)
            stop(processes)
    found = subprocess.run([TOOL, "query", "--dir", folder, "--from", "-1h", "--to", "now", "--json"],
                           stdout=subprocess.PIPE, text=True, check=True).stdout
    recordings = sorted((json.loads(line) for line in found.splitlines()),
                        key=lambda r: (r["camera"], r["start"]))
    assert len(recordings) == 32
    return max((datetime.fromisoformat(b["start"]) - datetime.fromisoformat(a["end"])).total_seconds()
               for a, b in zip(recordings[::2], recordings[1::2]))


def export(folder):
    """Ours and theirs, in seconds, in turns, of an hour in files of 64 MiB."""
    make_stream(folder + "/hour.ts", 3600, "1M")
    subprocess.run([TOOL, "--log-dir", folder + "/log", "record", "--dir", folder, "--file-size", "64",
                    "--pace", "fast", "--camera", f"c={folder}/hour.ts"],
                   stdout=subprocess.DEVNULL, check=True)
    with open(folder + "/list", "w") as file:
        for path in sorted(glob.glob(folder + "/RecordFile/**/*.mp4", recursive=True)):
            print(f"file '{path}'", file=file)
    ours = [TOOL, "export", "--dir", folder, "--camera", "c", "--from", "-1h", "--to", "2100-01-01", "--force",
            "-o", folder + "/clip.mp4"]
    theirs = ["ffmpeg", "-nostdin", "-y", "-v", "fatal", "-f", "concat", "-safe", "0", "-i",
              folder + "/list", "-c", "copy", folder + "/clip2.mp4"]
    times = []
    for _ in range(REPETITIONS):
        for command in (ours, theirs):
            begin = time.monotonic()
            subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
            times.append(time.monotonic() - begin)
    return times[::2], times[1::2]


def row(number, what, baseline, ratio, goal):
    print(f"ROW {number} | {what} | {baseline} | {ratio:.3f} | <= {goal}", flush=True)


def compare(number, what, baseline, ours, theirs, goal):
    row(number, what, baseline, statistics.median(ours) / statistics.median(theirs), goal)


def main():
    with tempfile.TemporaryDirectory() as work:
        def in_folder(function, *arguments):
            folder = tempfile.mkdtemp(dir=work)
            try:
                return function(*arguments, folder)
            finally:
                shutil.rmtree(folder)

        stream = work + "/camera.ts"
        make_stream(stream, CLIP, "8M")
        ours, theirs, lost = [], [], []
        for _ in range(REPETITIONS):
            ours.append(in_folder(lambda f: record(start_ours, "mp4", f, stream)))
            theirs.append(in_folder(lambda f: record(start_theirs, "ts", f, stream)))
            lost.append(in_folder(lambda f: restart(f, stream)))
        print(f"# processor s, memory KiB, first byte s: {ours} against {theirs}", file=sys.stderr)
        baseline = "16 ffmpeg -c copy"
        columns = zip(("20a", "20b", "20c"), ("processor time", "resident memory", "start to first byte"),
                      zip(*ours), zip(*theirs), (0.8, 0.2, 1))
        for number, what, mine, other, goal in columns:
            compare(number, f"16 live cameras recorded for {SECONDS:g} s: {what}", baseline, mine, other,
                    goal)
        row("20d", "a restart while 16 cameras send: most lost of one", "1 s", max(lost), 1)
        compare("21", "export of an hour", "ffmpeg concat -c copy", *in_folder(export), 1.1)


if __name__ == "__main__":
    main()
