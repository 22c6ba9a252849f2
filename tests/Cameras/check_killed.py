#!/usr/bin/python3
"""Holds what cameras sent (serve.py) against what recorders left behind that were killed.

check_killed.py SERVED KILLS DIR TOOL...: the output of serve.py; a line for each recorder that tells
when it was started and when it was killed; the record directory, and how the tool is called. One line
per camera; the last line is "N passed, M failed".
"""
import sys

from check import TIME_APART, FRAME, Film, ask, read_served, seconds, sent_by

LAST = 1  # s: what a kill may cost, of pictures and of sound
CONNECTED = 3  # s: after its start a recorder has files


def main():
    served = read_served(sys.argv[1])
    kills = [tuple(map(float, line.split())) for line in open(sys.argv[2])]
    faults = []
    print("camera     kills  files  most lost  sound short by  query off")
    for camera in ("pcma", "aac", "h265"):
        sent = sent_by(served[camera])
        ends, short, off = [], [0], [0]
        found = ask("query", camera, "-1d", "now")
        for recording in found:
            film = Film(recording["path"])
            ends.append(sent[film.numbers[-1]])
            off.append(seconds(recording["start"]) - sent[film.numbers[0]])
            off.append(seconds(recording["end"]) - ends[-1] - FRAME)
            if camera != "h265":
                short.append(film.times[-1] - max(film.heard, default=0))
        lost = [killed - max((end for end in ends if started < end < killed), default=started)
                for started, killed in kills if killed - started > CONNECTED]
        worst = max(map(abs, off))
        good = max(lost) <= LAST and max(short) <= LAST and worst <= TIME_APART
        if not good or len(found) < len(lost):
            faults.append(camera)
        print(f"{camera:10} {len(kills):5} {len(found):6} {max(lost):7.2f} s {max(short):12.2f} s "
              f"{worst * 1000:7.0f} ms {'' if good else ' FAILED'}")
    print(f"{3 - len(faults)} passed, {len(faults)} failed")
    return len(faults) > 0


sys.exit(main())
