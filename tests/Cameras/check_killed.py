#!/usr/bin/python3
"""Holds what cameras sent (serve.py) against what recorders left behind that were killed.

check_killed.py SERVED KILLS DIR TOOL...: the output of serve.py; a line for each recorder that tells
when it was started and when it was killed; the record directory, and how the tool is called. One line
per camera; the last line is "N passed, M failed".
"""
import sys

from check import TIME_APART, Film, Moments, ask, query_errors, read_served, worst

LAST = 1  # s: what a kill may cost, of pictures and of sound
CONNECTED = 3  # s: after its start a recorder has files


def main():
    served = read_served(sys.argv[1])
    kills = [tuple(map(float, line.split())) for line in open(sys.argv[2])]
    faults = []
    print("camera     kills  files  most lost  sound short by  query off")
    for camera in ("pcma", "aac", "h265"):
        moments = Moments(served[camera])
        found = ask("query", camera, "-1d", "now")
        films = {recording["path"]: Film(recording["path"]) for recording in found}
        ends = [moments.sent[film.numbers[-1]] for film in films.values()]
        short = max((film.times[-1] - max(film.heard, default=0)
                     for film in films.values() if camera != "h265"), default=0)
        lost = [killed - max((end for end in ends if started < end < killed), default=started)
                for started, killed in kills if killed - started > CONNECTED]
        off = abs(worst(query_errors(camera, films, moments)))
        good = max(lost) <= LAST and short <= LAST and off <= TIME_APART
        if not good or len(found) < len(lost):
            faults.append(camera)
        print(f"{camera:10} {len(kills):5} {len(found):6} {max(lost):7.2f} s {short:12.2f} s "
              f"{off * 1000:7.0f} ms {'' if good else ' FAILED'}")
    print(f"{3 - len(faults)} passed, {len(faults)} failed")
    return len(faults) > 0


sys.exit(main())
