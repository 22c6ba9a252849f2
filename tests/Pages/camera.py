#!/usr/bin/python3
"""The camera of the pages: rtsp://192.168.1.20/stream1."""
import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

Gst.init(None)
server = GstRtspServer.RTSPServer(address="192.168.1.20", service="554")
factory = GstRtspServer.RTSPMediaFactory()
factory.set_launch("( videotestsrc is-live=true ! video/x-raw,width=320,height=240,framerate=25/1 ! x264enc "
                   "tune=zerolatency sliced-threads=false key-int-max=25 ! rtph264pay name=pay0 )")
server.get_mount_points().add_factory("/stream1", factory)
server.attach(None)
GLib.MainLoop().run()
