#!/usr/bin/env python3
"""Runs kravi verify on files of other programs and our own: verify_test.py KRAVI MAKEFILES

Each expected code is a real property of the file; docs/verify.md gives the reasons. Ends with "N passed, N failed".
"""

import json
import os
import subprocess
import sys
import tempfile
import traceback

WRITER = {"movi-first-not-data", "idx1-rest", "idx1-marker", "idx1-offsets-marked"}
GSTREAMER = {"idx1-offsets-absolute", "idx1-sound-not-key"}
LARGE = "s=1920x1080:r=25:d=8"  # 1.2 GB as raw pictures: more than one segment
SMALL = "s=160x120:r=25:d=4"


def ffmpeg(out, picture, *options, before=()):
    return ["ffmpeg", "-v", "error", *before, "-f", "lavfi", "-i", picture, "-f", "lavfi", "-i", "sine=d=8", "-shortest",
            *options, out]


def gstreamer(out, size, video_format, frames, encoder=(), samples=1764):
    video = f"video/x-raw,format={video_format},{size},framerate=25/1"
    audio = "audio/x-raw,rate=44100,channels=2,format=S16LE"
    return ["gst-launch-1.0", "-q", "videotestsrc", f"num-buffers={frames}", "!", video, "!", *encoder, "avimux",
            "name=m", "!", "filesink", f"location={out}", "audiotestsrc", f"num-buffers={frames}",
            f"samplesperbuffer={samples}", "!", audio, "!", "m."]


def mencoder(out, source, *options):
    return ["mencoder", source, "-really-quiet", *options, "-o", out]


# Name, the command that makes it, and all codes that must be found.
FILES = [
    ("ffmpeg-pcm.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "mjpeg", "-c:a", "pcm_s16le"), set()),
    ("ffmpeg-ac3.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "mpeg4", "-bf", "2", "-c:a", "ac3"),
     {"chunk-empty"}),
    ("ffmpeg-mp3.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "mpeg4", "-c:a", "libmp3lame"), {"chunk-empty"}),
    ("ffmpeg-space.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "mjpeg", "-c:a", "pcm_s16le",
                                            "-reserve_index_space", "4096"), set()),
    ("ffmpeg-late.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "mjpeg", "-c:a", "pcm_s16le",
                                           before=("-itsoffset", "1")), {"chunk-empty", "chunk-empty-run"}),
    ("ffmpeg-raw.avi", lambda out: ffmpeg(out, f"testsrc={SMALL}", "-c:v", "rawvideo", "-pix_fmt", "bgr24", "-c:a",
                                          "pcm_s16le"), {"strf-top-down"}),
    ("ffmpeg-two.avi", lambda out: ffmpeg(out, "testsrc=s=320x240:r=25:d=4", "-map", "1", "-map", "2", "-map", "0",
                                          "-c:v", "mjpeg", "-c:a", "pcm_s16le",
                                          before=("-f", "lavfi", "-i", f"testsrc={SMALL}")), {"avih-picture-size"}),
    ("ffmpeg-large.avi", lambda out: ffmpeg(out, f"color={LARGE}", "-c:v", "rawvideo", "-pix_fmt", "bgr24", "-c:a",
                                            "pcm_s16le"),
     {"avih-buffer-small", "strf-top-down", "segment-beyond-1gib"}),
    ("mencoder-large.avi", lambda out: mencoder(out, "ffmpeg-large.avi", "-ovc", "copy", "-oac", "copy"), {"dmlh-frames"}),
    ("mencoder-copy.avi", lambda out: mencoder(out, "ffmpeg-pcm.avi", "-ovc", "copy", "-oac", "copy"), set()),
    ("mencoder-mp3.avi", lambda out: mencoder(out, "ffmpeg-pcm.avi", "-ovc", "lavc", "-lavcopts", "vcodec=mpeg4",
                                              "-oac", "mp3lame"), set()),
    ("gstreamer.avi", lambda out: gstreamer(out, "width=160,height=120", "I420", 100, ("jpegenc", "!")), GSTREAMER),
    ("gstreamer-rounded.avi", lambda out: gstreamer(out, "width=160,height=120", "I420", 50, ("jpegenc", "!"), 1024),
     GSTREAMER | {"strh-length"}),
    ("gstreamer-large.avi", lambda out: gstreamer(out, "width=1920,height=1080", "BGR", 200), GSTREAMER),
    ("rewrapped-ffmpeg.avi", lambda out: ["kravi", "rewrap", "ffmpeg-pcm.avi", out], set()),
    ("recording-ffmpeg.avi", lambda out: ["kravi", "rewrap", "ffmpeg-pcm.avi", out, "--layout", "recording"],
     WRITER | {"padding-by-filler"}),
    ("rewrapped-gstreamer.avi", lambda out: ["kravi", "rewrap", "gstreamer.avi", out], {"idx1-sound-not-key"}),
    ("one-sound.avi", None, WRITER | {"padding-by-filler"}),
    ("one-silent.avi", None, WRITER | {"padding-by-filler"}),
    ("three-sound.avi", None, WRITER),
    ("three-silent.avi", None, WRITER),
]


def check(kravi, folder, name, command, wanted):
    if command is not None:
        arguments = [kravi if part == "kravi" else part for part in command(name)]
        done = subprocess.run(arguments, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=600, check=False)
        if done.returncode not in (0, 1) or not os.path.exists(os.path.join(folder, name)):
            raise AssertionError(f"{name} was not made: {done.stdout.decode('utf-8', 'replace')}")
    done = subprocess.run([kravi, "verify", name, "--json"], cwd=folder, stdout=subprocess.PIPE, timeout=600, check=False)
    report = json.loads(done.stdout)
    found = {result["code"] for result in report["results"]}
    if found != wanted:
        raise AssertionError(f"{name}: found {json.dumps(report['results'], indent=1)}, wanted {sorted(wanted)}")
    if sum(report["bytes"].values()) != os.path.getsize(os.path.join(folder, name)) or report["bytes"]["unaccounted"]:
        raise AssertionError(f"{name}: {report['bytes']}")


def main(arguments):
    kravi, make_files = (os.path.abspath(path) for path in arguments[:2])
    passed = failed = 0
    with tempfile.TemporaryDirectory(prefix="kravi-verify-") as folder:
        subprocess.run([make_files, folder], stdout=subprocess.DEVNULL, check=True)
        for name, command, wanted in FILES:
            try:
                check(kravi, folder, name, command, wanted)
                passed += 1
            except Exception:  # any error fails this case alone
                failed += 1
                traceback.print_exc()
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
