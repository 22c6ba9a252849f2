#!/usr/bin/env python3
"""Downloads what is recorded of a camera in a range, a file for each span without a gap:

    playback_client.py http://127.0.0.1:9996 door 2024-03-05T08:00:00Z 2024-03-05T09:00:00Z clips

It knows no more than the public documentation of MediaMTX's playback API says, and so asks any server
of that interface. A token that the server wants stands in the variable PLAYBACK_TOKEN.
"""

import json
import os
import shutil
import sys
from urllib.parse import urlencode
from urllib.request import Request, urlopen


def ask(url):
    token = os.environ.get("PLAYBACK_TOKEN")
    headers = {"Authorization": f"Bearer {token}"} if token else {}
    return urlopen(Request(url, headers=headers), timeout=30)


def main(server, camera, start, end, folder):
    query = urlencode({"path": camera, "start": start, "end": end})
    with ask(f"{server}/list?{query}") as answer:
        spans = json.load(answer)
    os.makedirs(folder, exist_ok=True)
    for span in spans:
        path = os.path.join(folder, span["start"].replace(":", "-") + ".mp4")
        with ask(span["url"]) as video, open(path, "wb") as file:
            shutil.copyfileobj(video, file)
        print(f"{path}: {span['duration']:.1f} s")


if __name__ == "__main__":
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    main(*sys.argv[1:])
