"""recover: files of recording programs that were killed."""

import os
import shutil
import signal
import struct
import subprocess
import time

from cases_recover import check_content
from kravi_runner import check, equal


def chunks_in(data):
    """Payloads of a file that lacks only its end, chunk by chunk: frames, blocks of sound."""
    found, position = {b"dc": [], b"db": [], b"wb": []}, 0
    while position + 8 <= len(data):
        name, size = data[position:position + 4], struct.unpack_from("<I", data, position + 4)[0]
        if name in (b"RIFF", b"LIST"):
            position += 12
            continue
        if position + 8 + size > len(data):
            break
        if name[2:] in found and size > 0:
            found[name[2:]].append(data[position + 8:position + 8 + size])
        position += 8 + size + size % 2
    return found[b"dc"] + found[b"db"], found[b"wb"]


def killed_recording(kravi, command):
    """The file on disk of a killed recording program."""
    process = subprocess.Popen([*command, kravi.path("killed.avi")] if command[0] == "ffmpeg" else command,
                               cwd=kravi.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    deadline = time.monotonic() + 30
    while time.monotonic() < deadline and process.poll() is None:
        time.sleep(1)
        if os.path.exists(kravi.path("killed.avi")) and len(kravi.read("killed.avi")) > 200000:
            break
    process.send_signal(signal.SIGKILL)
    process.wait()
    return kravi.read("killed.avi")


def check_killed(kravi, command):
    data = killed_recording(kravi, command)
    video, audio = chunks_in(data)
    check(len(video) > 0 and len(audio) > 0, f"{len(data)} bytes recorded")
    kravi.write("in.avi", data)
    result = kravi("recover", "in.avi", "out.avi", "--json")
    check(result.code in (0, 1), str(result))
    check_content(kravi, result.json(), video, audio, command[0])
    equal(kravi.read("in.avi"), data, "what was read")


def test_killed_ffmpeg(kravi):
    if kravi.is_emulated or not shutil.which("ffmpeg"):
        return
    check_killed(kravi, ["ffmpeg", "-v", "error", "-y", "-re", "-f", "lavfi", "-i", "testsrc=rate=25:size=320x240",
                         "-re", "-f", "lavfi", "-i", "sine=sample_rate=48000", "-c:v", "mjpeg", "-q:v", "2",
                         "-c:a", "pcm_s16le", "-ac", "2"])


def test_killed_gstreamer(kravi):
    if kravi.is_emulated or not shutil.which("gst-launch-1.0"):
        return
    pipeline = ("videotestsrc is-live=true ! video/x-raw,width=320,height=240,framerate=25/1 ! jpegenc ! "
                "avimux name=m ! filesink buffer-mode=unbuffered location=killed.avi "
                "audiotestsrc is-live=true ! audio/x-raw,format=S16LE,rate=48000,channels=2 ! m.")
    check_killed(kravi, ["gst-launch-1.0", "-q", *pipeline.split()])
