#!/usr/bin/env python3
"""Reads files that kravi cut, joined and rewrapped with ffmpeg: copies_test.py KRAVI

Compares its packet checksums and key frames with kravi's. Ends with the line "N passed, N failed".
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import traceback

# Frame rate, format of the sound, and where the file is cut.
SOURCES = {"stereo.avi": ("30000/1001", ("pcm_s16le", "44100", "2"), ("12", "13", "40", "41")),
           "mono.avi": ("24000/1001", ("pcm_u8", "48000", "1"), ("0", "1", "45", "46")),
           "fast.avi": ("60000/1001", ("pcm_s16le", "32000", "1"), ("30", "31", "31", "32"))}
PICTURE = ("ffmpeg", "-v", "error", "-f", "lavfi", "-i")


def run(*command, codes=(0,)):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=600, check=False)
    if done.returncode not in codes:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout[-2000:]}\n{done.stderr[-2000:]}")
    return done.stdout.decode("utf-8")


def equal(got, wanted, what):
    if got != wanted:
        raise AssertionError(f"{what}: got {got}, wanted {wanted}")


def frame_sums(path):
    """Length and MD5 of each video packet."""
    text = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-c", "copy", "-f", "framemd5", "-")
    return [(int(size), md5) for size, md5 in re.findall(r"^0,.*, *(\d+), ([0-9a-f]{32})$", text, re.M)]


def stream_sums(path):
    """MD5 of each stream's concatenated packets."""
    text = run("ffmpeg", "-v", "error", "-i", path, "-map", "0", "-c", "copy", "-f", "streamhash", "-hash", "md5", "-")
    return re.findall(r"MD5=([0-9a-f]{32})", text)


class Copies:
    def __init__(self, kravi, folder):
        self.kravi, self.folder = kravi, folder

    def path(self, name):
        return os.path.join(self.folder, name)

    def run(self, *arguments, codes=(0,)):
        return json.loads(run(self.kravi, *arguments, "--json", codes=codes))

    def check_sums(self, path):
        """kravi and ffmpeg agree about a file; returns what they found."""
        report = self.run("hash", path, "--frames")
        frames = [(row["bytes"], row["md5"]) for row in report["frames"]]
        equal(frame_sums(path), frames, "frames")
        equal(stream_sums(path), [stream["md5"] for stream in report["streams"]], "streams")
        return frames, report["streams"]

    def copies(self, name):
        """Three cuts joined again, and a rewrapped file, are the source for both programs."""
        source = self.check_sums(self.path(name))
        one, two, three, four = SOURCES[name][2]
        pieces = [self.path(f"piece{number}.avi") for number in range(3)]
        for piece, range_ in zip(pieces, (("--to", one), ("--from", two, "--to", three), ("--from", four))):
            self.run("cut", self.path(name), piece, *range_, "--force")
        self.run("concat", *pieces, "-o", self.path("joined.avi"), "--force")
        equal(self.check_sums(self.path("joined.avi")), source, "joined")
        self.run("rewrap", self.path(name), self.path("again.avi"), "--force")
        equal(self.check_sums(self.path("again.avi")), source, "rewrapped")
        first, last = int(two), int(three)
        equal(self.check_sums(pieces[1])[0], source[0][first:last + 1], "frames of the second piece")

    def key_frames(self):
        """The frame at which a clean cut would start is ffmpeg's key frame before it."""
        path = self.path("predicted.avi")
        text = run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=flags", "-of", "csv=p=0", path)
        keys = [number for number, flags in enumerate(text.split()) if flags.startswith("K")]
        equal(len(keys) > 2 and keys[0] == 0, True, f"key frames {keys}")
        for first in (keys[1], keys[1] + 3):
            report = self.run("cut", path, self.path("out.avi"), "--from", str(first), "--force", codes=(0, 1))
            wanted = [] if first in keys else [f"frame {first} is not a key frame: it needs frames from {keys[1]} on; cut "
                                               f"there, or use --key before; the next key frame is {keys[2]}"]
            equal(report["findings"], wanted, f"cut from {first}")


def make_sources(folder):
    for name, (rate, (codec, samples_per_second, channels), _) in SOURCES.items():
        run(*PICTURE, f"testsrc=size=160x120:rate={rate}:duration=2", "-f", "lavfi", "-i",
            f"sine=sample_rate={samples_per_second}:duration=2", "-c:v", "mjpeg", "-c:a", codec, "-ac", channels,
            os.path.join(folder, name))
    run(*PICTURE, "testsrc=size=160x120:rate=25:duration=2", "-c:v", "mpeg4", "-g", "12", "-bf", "0",
        os.path.join(folder, "predicted.avi"))


def main(arguments):
    passed = failed = 0
    with tempfile.TemporaryDirectory(prefix="kravi-peers-") as folder:
        make_sources(folder)
        copies = Copies(os.path.abspath(arguments[0]), folder)
        cases = [(name, lambda name=name: copies.copies(name)) for name in SOURCES]
        for name, case in [*cases, ("key frames", copies.key_frames)]:
            try:
                case()
                passed += 1
            except Exception:  # any error fails this case alone
                failed += 1
                print(f"FAILED {name}", file=sys.stderr)
                traceback.print_exc()
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
