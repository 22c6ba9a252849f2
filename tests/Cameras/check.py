#!/usr/bin/python3
"""Holds what cameras sent (serve.py) against what was recorded.

check.py SERVED EVENTS: the output of serve.py, and of localstorage record --json. One line per camera;
the last line is "N passed, M failed".
"""
import collections
import json
import subprocess
import sys

UNDER_WAY = 0.3  # s: what is sent while a connection begins or ends may be lost with it
BACK = 3  # s


def numbers_in(path):
    """The numbers drawn into the frames of a file, as serve.py draws them."""
    blocks = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "fatal", "-i", path, "-fps_mode", "passthrough", "-vf",
         "crop=iw:iw/5:0:0,scale=10:2:flags=area", "-pix_fmt", "gray", "-f", "rawvideo", "-"],
        check=True, stdout=subprocess.PIPE).stdout
    return [sum((blocks[at + bit] > 128) << bit for bit in range(20))
            for at in range(0, len(blocks), 20)]


def read_served(path):
    """Of each camera, (what, time, number) in the order of time."""
    cameras = collections.defaultdict(list)
    for line in open(path):
        camera, what, time, *rest = line.split()
        cameras[camera].append((what, float(time), int(rest[0]) if rest else None))
    return cameras


def read_recorded(path):
    """Of each camera, the numbers in its files; and how often each event came."""
    numbers, events = collections.defaultdict(list), collections.Counter()
    for line in open(path):
        event = json.loads(line)
        events[event.get("camera"), event["event"]] += 1
        if event["event"] == "closed":
            numbers[event["camera"]] += numbers_in(event["path"])
    return numbers, events


def connections(served):
    """Each connection: the numbers that were sent while it stood."""
    begin = last = None
    sent = []
    for what, time, number in served + [("play", float("inf"), None)]:
        if what in ("play", "close"):
            if begin is not None:
                yield [n for n, t in sent if begin + UNDER_WAY <= t <= last - UNDER_WAY]
            begin, sent = (time, []) if what == "play" else (None, [])
        elif what == "sent":
            last = time
            sent.append((number, time))


def delays(served, recorded):
    """From each moment at which the camera could be reached again to the first recorded frame."""
    opened = None
    for what, time, number in served:
        if what == "open":
            opened = time
        elif what == "sent" and opened and number in recorded:
            yield time - opened
            opened = None


def main():
    served, (recorded, events) = read_served(sys.argv[1]), read_recorded(sys.argv[2])
    failed = 0
    print("camera     connections  sent  recorded  missing  doubled  back after  lost  stalled")
    for camera, what in served.items():
        numbers = recorded[camera]
        stand = list(connections(what))
        wanted = {n for sent in stand for n in sent}
        missing = wanted - set(numbers)
        doubled = len(numbers) - len(set(numbers))
        back = max(delays(what, set(numbers)), default=0)
        lost, stalled = events[camera, "lost"], events[camera, "stalled"]
        good = not missing and not doubled and numbers == sorted(numbers) and back <= BACK
        if camera == "refuses":
            good = lost == 1 and not numbers
        elif camera == "drops":
            good = good and lost > 0
        elif camera == "stalls":
            good = good and stalled > 0
        else:
            good = good and numbers and not lost
        failed += not good
        print(f"{camera:10} {len(stand):11} {len(wanted):5} {len(numbers):9} {len(missing):8} "
              f"{doubled:8} {back:9.1f} s {lost:5} {stalled:8} {'' if good else ' FAILED'}")
        if missing:
            print("  missing:", *sorted(missing)[:50])
    print(f"{len(served) - failed} passed, {failed} failed")
    return failed > 0


sys.exit(main())
