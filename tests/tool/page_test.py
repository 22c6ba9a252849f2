#!/usr/bin/python3
"""The page of `localstorage serve` as people use it, in a browser: page_test.py TOOL.

The pictures of all recordings are grey and grow brighter by the second, so that a picture itself tells
when it was taken, whatever the page says."""

import os
import subprocess
import sys
import tempfile
import time
import unittest
from datetime import datetime
from pathlib import Path

from browser import Keys, Page, Server

TOOL = sys.argv.pop(1)
LENGTH = 60  # seconds of each recording
BRIGHTER = 3  # levels per second

# What a player shows: when the picture was taken by its brightness, in seconds from the recording's
# start, and where its video stands.
SHOWN = f"""
const video = document.querySelectorAll('video')[arguments[0]];
const canvas = Object.assign(document.createElement('canvas'), {{ width: 8, height: 8 }});
canvas.getContext('2d').drawImage(video, 0, 0, 8, 8);
const [level] = canvas.getContext('2d').getImageData(4, 4, 1, 1).data;
return [level * 219 / 255 / {BRIGHTER}, video.currentTime, video.readyState];
"""


# A host that records a stream as fast as it was taken: HOST FROM TO SECONDS.
HOST = """
import sys, time
stream = open(sys.argv[1], 'rb').read()
begin = time.monotonic()
with open(sys.argv[2], 'wb', buffering=0) as recording:
    while recording.tell() < len(stream):
        place = int(len(stream) * (time.monotonic() - begin) / int(sys.argv[3])) // 188 * 188
        recording.write(stream[recording.tell():place])
        time.sleep(0.1)
"""
CLIENT_CLIP = "{}/disk2/RecordFile/20240305/yard/20240305_080000.mp4"


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)


def probe(path):
    """Codec, and seconds of a video."""
    text = subprocess.check_output(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
         "stream=codec_name:format=duration", "-of", "csv=p=0", path], text=True)
    codec, seconds = text.split()
    return codec, float(seconds)


def make_recordings(root):
    grey = ["-f", "lavfi", "-i", f"nullsrc=size=96x64:rate=25:duration={LENGTH},format=yuv420p,"
            f"geq=lum='16+{BRIGHTER}*T':cb=128:cr=128"]
    ffmpeg(*grey, "-f", "lavfi", "-i", f"sine=duration={LENGTH}", "-c:v", "libx264", "-preset", "veryfast",
           "-g", "25", "-bf", "2", "-c:a", "aac", "-f", "mpegts",
           root / "h264.ts")
    ffmpeg(*grey, "-t", "4", "-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none",
           root / "h265.mp4")
    for camera, start, name in (("door", "08:00:00", "h264.ts"), ("door", "08:02:00", "h264.ts"),
                                ("roof", "07:59:00", "h264.ts"), ("roof", "08:00:00", "h265.mp4")):
        subprocess.run([TOOL, "--log-dir", root / "log", "import", "--dir", root / "disk1", "--camera",
                        camera, "--start", f"2024-03-05 {start}", root / name],
                       check=True, stdout=subprocess.DEVNULL)
    client = root / "disk2/RecordFile/20240305/yard"
    client.mkdir(parents=True)
    (root / "h264.ts").rename(client / "20240305_080000.mp4")
    (client / "20240305_080100.mp4").hardlink_to(client / "20240305_080000.mp4")


def seconds_of(clock):
    """Of the time that the page shows, from eight o'clock on."""
    hours, minutes, seconds = clock.split(":")
    return (int(hours) - 8) * 3600 + int(minutes) * 60 + float(seconds)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.environ["TZ"] = "Europe/Berlin"
        time.tzset()
        cls.work = tempfile.TemporaryDirectory()
        cls.root = Path(cls.work.name)
        make_recordings(cls.root)
        cls.server = Server(TOOL, "--dir", cls.root / "disk1", "--dir", cls.root / "disk2")

    @classmethod
    def tearDownClass(cls):
        cls.server.__exit__()
        cls.work.cleanup()

    def setUp(self):
        self.page = self.enterContext(Page(self.server.url))
        self.page.bar("door").send_keys(Keys.HOME, "+" * 10)  # less than two minutes are left to be seen

    def clock(self):
        return seconds_of(self.page.text("#clock"))

    def press(self, *keys):
        self.page.find("body").send_keys(*keys)

    def wait_for_time(self, condition, what):
        return self.page.wait(lambda: condition(self.clock()), f"{what} at {self.page.text('#clock')}")

    def expect_true_time(self, player=0, recorded=0):
        """The picture itself tells the time that the page shows."""
        def agrees():
            before, (picture, _, ready), after = self.clock(), self.page.run(SHOWN, player), self.clock()
            return ready >= 2 and before - 0.7 <= recorded + picture <= after + 0.7
        self.page.wait(agrees, f"picture {self.page.run(SHOWN, player)} of {self.page.text('#clock')}")

    def test_plays_from_where_a_bar_is_clicked_and_jumps_over_a_gap(self):
        page = self.page
        page.click_bar("door", 0.6)
        asked = self.clock()
        self.assertTrue(5 < asked < LENGTH, asked)
        self.wait_for_time(lambda time: time > asked + 2, "playing")
        self.assertGreater(page.run(SHOWN, 0)[1], 2)
        self.expect_true_time()
        page.run("document.getElementById('speed').value = '8';"
                 "document.getElementById('speed').dispatchEvent(new Event('change'))")
        self.wait_for_time(lambda time: time > 121, "jumping over the gap")
        self.press(" ")
        self.expect_true_time(recorded=120)
        self.assertEqual(page.driver.get_log("browser"), [], "nothing was refused or is missing")

    def test_cameras_play_in_step(self):
        page = self.page
        page.click_bar("door", 0.5)
        page.find('.row:has([data-camera="yard"]) input').click()
        self.wait_for_time(lambda time: time > 15, "playing two")
        for player in (0, 1):
            self.expect_true_time(player)
        self.press("]]")
        self.wait_for_time(lambda time: time > 95, "playing one")
        self.expect_true_time(player=1, recorded=60)
        self.assertIn("Nothing recorded until 08:02:0", page.text(".words"), "the other one waits")

    def test_of_many_cameras_the_last_one_is_seen_playing_under_the_hours(self):
        for number in range(64):
            folder = self.root / f"many/RecordFile/20240305/gate{number}"
            folder.mkdir(parents=True)
            (folder / "20240305_080000.mp4").hardlink_to(CLIENT_CLIP.format(self.root))
        with Server(TOOL, "--dir", self.root / "many") as server, Page(server.url) as page:
            page.bar("gate63").send_keys(Keys.HOME, Keys.ENTER)
            page.wait(lambda: page.run(SHOWN, 0)[1] > 1, "playing")
            for seen in ("video", "#ruler"):
                self.assertTrue(page.run("const box = document.querySelector(arguments[0]).getBoundingClientRect();"
                                         "return box.top >= 0 && box.bottom <= innerHeight", seen), seen)

    def test_bars_do_not_wait_for_the_state_of_the_cameras(self):
        page = self.page
        page.driver.execute_cdp_cmd("Network.enable", {})
        page.driver.execute_cdp_cmd("Network.setBlockedURLs", {"urls": ["*/api/cameras"]})
        page.driver.refresh()
        page.bar("door")

    def test_pictures_one_by_one_and_seconds_by_keys(self):
        self.press(Keys.ARROW_RIGHT * 10)
        self.page.bar("door").send_keys(Keys.ENTER)
        self.wait_for_time(lambda time: time > 11, "playing")
        self.press(" ")
        before = self.clock()
        self.press("...")
        self.assertAlmostEqual(self.clock() - before, 3 / 25, delta=0.002)
        self.press(Keys.ARROW_LEFT * 5)
        self.assertAlmostEqual(self.clock() - before, 3 / 25 - 5, delta=0.002)
        self.expect_true_time()

    def test_a_marked_range_is_downloaded(self):
        self.page.driver.execute_cdp_cmd(
            "Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(self.root)})
        self.press(Keys.ARROW_RIGHT * 10, "i", Keys.ARROW_RIGHT * 20, "o")
        self.assertIn("08:00:10 – 08:00:30 · 20 s", self.page.text("#range-text"))
        self.page.bar("door").send_keys(Keys.ENTER)
        self.press("d")
        codec, seconds = probe(self.page.wait(lambda: [*self.root.glob("door*.mp4")], "download")[0])
        self.assertEqual(codec, "h264")
        self.assertAlmostEqual(seconds, 20, delta=1.1)

    def test_what_cannot_be_decoded_is_said(self):
        self.page.bar("roof").send_keys(Keys.END, Keys.ENTER)
        words = self.page.wait(lambda: self.page.text(".words"), "words")
        self.assertIn("cannot show H.265, as roof is recorded", words)
        link = self.page.find(".words a").get_attribute("href")
        subprocess.run(["curl", "-sSf", "-o", self.root / "roof.mp4", link], check=True)
        self.assertEqual(probe(self.root / "roof.mp4")[0], "hevc")
        self.press(Keys.ARROW_LEFT * 6, " ")
        self.page.wait(lambda: self.page.run(SHOWN, 0)[2] >= 2, "what was encoded otherwise before")
        self.page.wait(lambda: "cannot show H.265" in self.page.text(".words"), "words where it changes")

    def test_the_calendar_marks_days_with_recordings(self):
        self.page.find("#day").click()
        self.assertEqual([day.text for day in self.page.all("#calendar .recorded")], ["5"])

    def test_what_is_being_recorded_is_shown_live(self):
        begin = datetime.now().replace(microsecond=0)
        folder = self.root / "live/RecordFile" / f"{begin:%Y%m%d}" / "gate"
        folder.mkdir(parents=True)
        host = subprocess.Popen([sys.executable, "-c", HOST, CLIENT_CLIP.format(self.root),
                                 folder / f"{begin:%Y%m%d_%H%M%S}.mp4", str(LENGTH)])
        try:
            with Server(TOOL, "--dir", self.root / "live") as server, Page(server.url) as page:
                self.page = page
                page.wait(lambda: "recording" in page.text("#cameras"), "state of the camera")
                page.find("#live").click()
                page.wait(lambda: page.all("video") and page.run(SHOWN, 0)[1] > 3, "playing")
                late = (datetime.now() - begin).total_seconds() - page.run(SHOWN, 0)[0]
                self.assertLess(late, 10)
                since_eight = (begin - begin.replace(hour=8, minute=0, second=0)).total_seconds()
                self.expect_true_time(recorded=since_eight)
        finally:
            host.kill()
            host.wait()

    def test_only_those_who_know_the_token_get_in(self):
        token = self.root / "token"
        token.write_text("correct horse battery\n")
        with Server(TOOL, "--dir", self.root / "disk1", "--token-file", token, "--base-path", "/x") as server, \
                Page(server.url) as page:
            page.find("#token").send_keys("another horse battery", Keys.ENTER)
            page.wait(lambda: "That is not the token." in page.text("form"), "refusal")
            page.find("#token").send_keys("correct horse battery", Keys.ENTER)
            page.bar("door")


if __name__ == "__main__":
    unittest.main()
