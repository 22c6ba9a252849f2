#!/usr/bin/python3
"""Cameras on loopback, each an RTSP server of its own, that behave as real ones do at their worst.

Every frame carries a number, drawn into its upper rows as blocks. What happens goes to standard
output, one line each: CAMERA WHAT TIME [NUMBER], where WHAT is open (it can be reached from now on, at
this port), play, sent (this frame, and when it was taken), close (it went away, or fell silent).
"""
import os
import struct
import time

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

FRAMES_PER_SECOND = 25
H264 = ("x264enc tune=zerolatency speed-preset=ultrafast sliced-threads=false threads=1 bitrate=300 "
        "key-int-max=25 ! h264parse ! rtph264pay name=pay0 pt=96 config-interval=-1")
H265 = ("x265enc tune=zerolatency speed-preset=ultrafast key-int-max=25 option-string=pools=none:"
        "frame-threads=1:log-level=none ! h265parse ! rtph265pay name=pay0 pt=96 config-interval=-1")
SOUND = (" appsrc name=sound is-live=true format=time caps=audio/x-raw,format=S16LE,"
         "layout=interleaved,rate={},channels=1 ! audioconvert ! ")
PCMA = SOUND.format(8000) + "alawenc ! rtppcmapay name=pay1"
# The encoder delays sound by 1024 samples: so many a second that it does not count.
AAC = SOUND.format(48000) + "avenc_aac ! aacparse ! rtpmp4gpay name=pay1 pt=97"


def say(camera, what, *rest):
    line = " ".join(map(str, (camera, what, f"{time.time():.3f}", *rest)))
    os.write(1, f"{line}\n".encode())  # in one piece: every camera has threads of its own


def tone(level, rate):
    """Of 500 Hz, as long as a frame."""
    half = rate // 1000
    return b"".join(struct.pack("<h", level * (-1) ** (n // half))
                    for n in range(rate // FRAMES_PER_SECOND))


def picture(number, width, height):
    """A frame whose upper two rows of ten blocks are the bits of its number."""
    block = width // 10
    rows = []
    for half in (number & 1023, number >> 10 & 1023):
        row = b"".join((b"\xe0" if half >> bit & 1 else b"\x20") * block for bit in range(10))
        rows.append(row * block)
    ramp = bytes(64 + (x + number * 3) % 128 for x in range(width))
    luma = b"".join(rows) + ramp * (height - 2 * block)
    return luma + b"\x80" * (width * height // 2)


class Camera:
    """One camera; `script` is called every second that it is played with the second's number."""

    def __init__(self, name, pipeline, script=None, password=None):
        self.name, self.script = name, script
        self.number = self.size = self.quiet_until = 0
        self.media = None
        self.server = GstRtspServer.RTSPServer(address="127.0.0.1", service="0")
        factory = GstRtspServer.RTSPMediaFactory()
        factory.set_launch("( appsrc name=src is-live=true format=time ! "
                           "videoconvert ! " + pipeline + " )")
        factory.connect("media-configure", self.on_media)
        if password:
            self.protect(factory, password)
        self.server.get_mount_points().add_factory("/live", factory)
        self.server.connect("client-connected", self.on_client)
        self.open()

    def protect(self, factory, password):
        auth = GstRtspServer.RTSPAuth()
        token = GstRtspServer.RTSPToken()
        token.set_string("media.factory.role", "user")
        auth.add_basic(GstRtspServer.RTSPAuth.make_basic("user", password), token)
        self.server.set_auth(auth)
        permissions = GstRtspServer.RTSPPermissions()
        for what in ("access", "construct"):
            permissions.add_permission_for_role("user", "media.factory." + what, True)
        factory.set_permissions(permissions)

    def open(self):
        self.attached = self.server.attach(None)
        self.server.set_service(str(self.server.get_bound_port()))  # the next time, too
        say(self.name, "open", self.server.get_service())
        return False

    def close(self, seconds):
        """Breaks off all connections, and takes none for so long."""
        GLib.source_remove(self.attached)
        self.media = None
        say(self.name, "close")
        self.server.client_filter(lambda server, client: GstRtspServer.RTSPFilterResult.REMOVE)
        GLib.timeout_add(int(seconds * 1000), self.open)

    def on_client(self, server, client):
        client.connect("play-request", self.on_play)

    def on_media(self, factory, media):
        self.source = media.get_element().get_child_by_name("src")
        self.sound = media.get_element().get_child_by_name("sound")
        if self.sound:
            rate = self.sound.get_property("caps").get_structure(0).get_int("rate").value
            self.silent, self.loud = tone(0, rate), tone(8000, rate)
        pay = media.get_element().get_child_by_name("pay0")
        self.pushed = []
        pushed = self.pushed
        pay.get_static_pad("sink").add_probe(
            Gst.PadProbeType.BUFFER, lambda pad, info: self.on_coded(pushed))
        self.set_size(self.size)
        self.media = media
        self.began = self.second = 0
        GLib.timeout_add(1, self.begin, media)

    def begin(self, media):
        """Once its pipeline plays, by whose time it reports when frames were taken."""
        element = media.get_element()
        if media is not self.media or element.get_state(0).state != Gst.State.PLAYING:
            return media is self.media
        self.clock_begin = element.get_base_time() / Gst.SECOND
        self.due = time.monotonic()
        return self.push_next(media)

    def on_coded(self, pushed):
        number, taken = pushed.pop(0)
        say(self.name, "sent", number, f"{taken:.3f}")
        return Gst.PadProbeReturn.OK

    def on_play(self, client, context):
        say(self.name, "play")
        self.began = time.monotonic()

    def set_size(self, size):
        self.size = size
        self.width, self.height = ((160, 120), (320, 240))[size]
        self.source.set_property("caps", Gst.Caps.from_string(
            f"video/x-raw,format=I420,width={self.width},height={self.height},"
            f"framerate={FRAMES_PER_SECOND}/1"))

    def push_next(self, media):
        if media is not self.media:
            return False
        now = time.monotonic()
        if self.script and self.began and int(now - self.began) > self.second:
            self.second = int(now - self.began)
            self.script(self, self.second)
        if media is self.media and now >= self.quiet_until:
            self.push()
        self.due += 1 / FRAMES_PER_SECOND
        GLib.timeout_add(max(0, int((self.due - time.monotonic()) * 1000)), self.push_next, media)
        return False

    def stamped(self, data):
        """However late it is pushed on a busy machine: else sound and picture would part."""
        buffer = Gst.Buffer.new_wrapped(data)
        buffer.pts = int((self.due - self.clock_begin) * Gst.SECOND)
        buffer.duration = Gst.SECOND // FRAMES_PER_SECOND
        return buffer

    def push(self):
        self.pushed.append((self.number, time.time() - (time.monotonic() - self.due)))
        data = picture(self.number, self.width, self.height)
        self.source.emit("push-buffer", self.stamped(data))
        if self.sound:  # a tone with each 25th frame
            sound = self.loud if self.number % FRAMES_PER_SECOND == 0 else self.silent
            self.sound.emit("push-buffer", self.stamped(sound))
        self.number += 1


def drops(camera, second):
    if second == 20:
        camera.close(2 if camera.number // 500 % 2 else 0)


def stalls(camera, second):
    if second == 20:
        camera.quiet_until = time.monotonic() + 14
        say(camera.name, "close")
        GLib.timeout_add(14000, lambda: say(camera.name, "open"))


def changes(camera, second):
    if second % 15 == 0:
        camera.set_size(1 - camera.size)


Gst.init(None)
cameras = [
    Camera("pcma", H264 + PCMA), Camera("aac", H264 + AAC), Camera("h265", H265),
    Camera("drops", H264, drops), Camera("stalls", H264, stalls), Camera("changes", H264, changes),
    Camera("password", H264, password="p@ss/word"), Camera("refuses", H264, password="unknown")]
GLib.MainLoop().run()
