#!/usr/bin/python3
"""Holds what cameras sent (serve.py) against what was recorded.

check.py SERVED EVENTS DIR TOOL...: the output of serve.py, and of localstorage record --json; the record
directory, and how the tool is called. One line per camera; the last line is "N passed, M failed".
"""
import collections
import datetime
import json
import os
import re
import subprocess
import sys
import tempfile

UNDER_WAY = 0.3  # s: what is sent while a connection begins or ends may be lost with it
STOPPED = 1  # s: likewise of what is sent while the recorder stops
BACK = 3  # s
SOUND_APART = 0.040  # s: from the picture that it belongs to
TIME_APART = 0.1  # s: of what the tool tells from what the camera did
FRAME = 0.040  # s
TONE_EVERY = 25  # frames


class Film:
    """What a file shows: the numbers that serve.py drew, by when they are shown; and when tones begin."""

    def __init__(self, path):
        run = subprocess.run(
            ["ffmpeg", "-nostdin", "-v", "info", "-copyts", "-i", path,
             "-map", "0:v", "-fps_mode", "passthrough", "-pix_fmt", "gray", "-f", "rawvideo",
             "-vf", "crop=iw:iw/5:0:0,scale=10:2:flags=area,showinfo=checksum=0", "-",
             "-map", "0:a?", "-af", "silencedetect=noise=-18dB:duration=0.2,ashowinfo",
             "-f", "null", "-"],
            check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        log = run.stderr.decode(errors="replace")
        self.times = [float(t) for t in re.findall(r"Parsed_showinfo.* pts_time:(\S+)", log)]
        self.heard = [float(t) for t in re.findall(r"Parsed_ashowinfo.* pts_time:(\S+)", log)]
        self.tones = [float(t) for t in re.findall(r"silence_end: (\S+)", log)]
        self.numbers = [sum((run.stdout[at + bit] > 128) << bit for bit in range(20))
                        for at in range(0, len(run.stdout), 20)]
        assert len(self.times) == len(self.numbers), path

    def sound_offsets(self):
        """Of each tone, how far behind the picture that it belongs to it is heard."""
        shown = [t for t, n in zip(self.times, self.numbers) if n % TONE_EVERY == 0]
        tones = [t for t in self.tones if t < self.times[-1] - 2 * FRAME]  # silence ends there, too
        return [min((tone - t for t in shown), key=abs, default=float("inf")) for tone in tones]


def read_served(path):
    """Of each camera, (what, time, number, taken) in the order of time; of frames alone the last two."""
    cameras = collections.defaultdict(list)
    for line in open(path):
        camera, what, time, *rest = line.split()
        number, taken = (int(rest[0]), float(rest[1])) if what == "sent" else (None, None)
        cameras[camera].append((what, float(time), number, taken))
    return cameras


def read_recorded(path):
    """Of each camera, its files by path; and how often each event came."""
    films, events = collections.defaultdict(dict), collections.Counter()
    for line in open(path):
        event = json.loads(line)
        events[event.get("camera"), event["event"]] += 1
        if event["event"] == "closed":
            films[event["camera"]][event["path"]] = Film(event["path"])
    return films, events


def connections(served):
    """Each connection: the numbers that were sent while it stood."""
    begin = last = None
    sent = []
    for what, time, number, _ in served + [("play", float("inf"), None, None)]:
        if what in ("play", "close"):
            if begin is not None:
                last -= STOPPED if time == float("inf") else UNDER_WAY
                yield [n for n, t in sent if begin + UNDER_WAY <= t <= last]
            begin, sent = (time, []) if what == "play" else (None, [])
        elif what == "sent":
            last = time
            sent.append((number, time))


def delays(served, recorded):
    """From each moment at which the camera could be reached again to the first recorded frame."""
    opened = None
    for what, time, number, _ in served:
        if what == "open":
            opened = time
        elif what == "sent" and opened and number in recorded:
            yield time - opened
            opened = None


def ask(command, camera, begin, end, *options):
    """The lines of JSON that the tool prints."""
    out = subprocess.run([*sys.argv[4:], command, "--dir", sys.argv[3], "--camera", camera,
                          "--from", begin, "--to", end, "--json", *options],
                         stdout=subprocess.PIPE).stdout
    return [json.loads(line) for line in out.splitlines()]


def seconds(text):
    return datetime.datetime.fromisoformat(text).timestamp()


class Moments:
    """When a camera took its frames, and sent them: on a busy machine that is later by chance."""

    def __init__(self, served):
        frames = [event[1:] for event in served if event[0] == "sent"]
        self.sent = {number: sent for sent, number, _ in frames}
        self.taken = {number: taken for _, number, taken in frames}

    def error(self, told, number):
        """How far a time told of a frame is from both and what is between them."""
        return min(0, told - self.taken[number]) + max(0, told - self.sent[number])


def query_errors(camera, films, moments):
    """How far the ends of recordings are told from those of their first and last frames."""
    for found in ask("query", camera, "-1d", "now") if films else []:
        film = films[found["path"]]
        yield moments.error(seconds(found["start"]), film.numbers[0])
        yield moments.error(seconds(found["end"]) - FRAME, film.numbers[-1])


def export_errors(camera, moments):
    """How far the times of the frames of the middle fifth, as exported, are told."""
    times = sorted(moments.sent.values())
    begin, end = times[len(times) * 2 // 5], times[len(times) * 3 // 5]
    with tempfile.TemporaryDirectory() as folder:
        clip = os.path.join(folder, "clip.mp4")
        stamps = [datetime.datetime.fromtimestamp(t, datetime.timezone.utc).isoformat()
                  for t in (begin, end)]
        told = ask("export", camera, *stamps, "-o", clip)[0]
        film = Film(clip)
    start = seconds(told["start"]) - film.times[0]
    for time, number in zip(film.times, film.numbers):
        yield moments.error(start + time, number)
    yield min(0, moments.error(begin, film.numbers[0]))  # it holds the beginning,
    yield max(0, moments.error(end - FRAME, film.numbers[-1]))  # and the end,
    yield min(0, moments.error(end, film.numbers[-1]))  # and no more


def worst(errors):
    return max(errors, key=abs, default=0)


def main():
    served, (recorded, events) = read_served(sys.argv[1]), read_recorded(sys.argv[2])
    failed = 0
    print("camera     connections  sent  recorded  missing  doubled  back after  lost  stalled  "
          "sound off  query off  clip off")
    for camera, what in served.items():
        films = recorded[camera]
        numbers = [n for film in films.values() for n in film.numbers]
        stand = list(connections(what))
        moments = Moments(what)
        wanted = {n for numbers_sent in stand for n in numbers_sent}
        missing = wanted - set(numbers)
        doubled = len(numbers) - len(set(numbers))
        back = max(delays(what, set(numbers)), default=0)
        lost, stalled = events[camera, "lost"], events[camera, "stalled"]
        offsets = [offset for film in films.values() for offset in film.sound_offsets()]
        sound, query, clip = worst(offsets), worst(query_errors(camera, films, moments)), 0
        if len(stand) == 1:  # a clip leaves out gaps
            clip = worst(export_errors(camera, moments))
        good = not missing and not doubled and numbers == sorted(numbers) and back <= BACK
        good = good and abs(sound) <= SOUND_APART and max(abs(query), abs(clip)) <= TIME_APART
        if camera == "refuses":
            good = lost == 1 and not numbers
        elif camera == "drops":
            good = good and lost > 0
        elif camera == "stalls":
            good = good and stalled > 0
        else:
            good = good and numbers and not lost
        if camera in ("pcma", "aac"):
            good = good and len(offsets) >= len(wanted) // TONE_EVERY - 2 * len(films)
        failed += not good
        print(f"{camera:10} {len(stand):11} {len(wanted):5} {len(numbers):9} {len(missing):8} "
              f"{doubled:8} {back:9.1f} s {lost:5} {stalled:8} {sound * 1000:7.0f} ms "
              f"{query * 1000:7.0f} ms {clip * 1000:6.0f} ms {'' if good else ' FAILED'}")
        if missing:
            print("  missing:", *sorted(missing)[:50])
    print(f"{len(served) - failed} passed, {failed} failed")
    return failed > 0


if __name__ == "__main__":
    sys.exit(main())
