#!/usr/bin/env python3
"""Compares kravi info of files of many writers with ffprobe and mediainfo: info_test.py KRAVI [FOLDER]

FOLDER keeps the files. A writer or reader that this machine lacks is left out. Ends with the line "N passed, N failed".
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import traceback

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))

import avi_corpus  # pylint: disable=wrong-import-position

NAMES = ("mjpeg-pcm", "raw-bgr24", "dv-sound", "tags", "x264-ac3", "rate-30000-1001", "mencoder-xvid", "mencoder-vbr", "gst-two-sounds",
         "gst-i420")
MOST_LINES, MOST_COLUMNS = 8, 80


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=120, check=True).stdout.decode("utf-8")


def equal(got, wanted, what):
    if got != wanted:
        raise AssertionError(f"{what}: got {got}, wanted {wanted}")


def near(got, wanted, within, what):
    if abs(float(got) - float(wanted)) > within:
        raise AssertionError(f"{what}: got {got}, wanted {wanted}")


class Compared:
    """One file as kravi and one of the others see it."""

    def __init__(self, kravi, path):
        self.path = path
        self.facts = json.loads(run(kravi, "info", path, "--json"))
        equal(self.facts["findings"], [], "findings")
        self.summary = self.facts["summary"]
        self.video = [stream for stream in self.summary["streams"] if stream["kind"] == "video"]
        self.audio = [stream for stream in self.summary["streams"] if stream["kind"] == "audio"]
        shown = run(kravi, "info", path).replace(path, "clip.avi").splitlines()
        shown = shown[:[line.startswith("health") for line in shown].index(True) + 1]
        if len(shown) > MOST_LINES or max(map(len, shown)) > MOST_COLUMNS:
            raise AssertionError(f"too much for the screen: {shown}")

    def with_ffprobe(self):
        report = json.loads(run("ffprobe", "-v", "error", "-of", "json", "-show_format", "-show_streams", self.path))
        streams = {kind: [row for row in report["streams"] if row["codec_type"] == kind] for kind in ("video", "audio")}
        equal((len(self.video), len(self.audio)), (len(streams["video"]), len(streams["audio"])), "streams")
        for ours, theirs in zip(self.video, streams["video"]):
            equal((ours["width"], ours["height"], ours["frames"]), (theirs["width"], theirs["height"], int(theirs["nb_frames"])), "picture")
            rate, scale = map(int, theirs["r_frame_rate"].split("/"))
            equal(ours["frameRate"]["rate"] * scale, ours["frameRate"]["scale"] * rate, "frame rate")
            equal(ours["fourCc"] or "[0][0][0][0]", theirs["codec_tag_string"], "FourCC")
            near(ours["seconds"], theirs["duration"], 0.001, "duration of the picture")
            aspect = ours["displayAspect"]
            if aspect:
                near(aspect["horizontal"] / aspect["vertical"], eval_ratio(theirs["display_aspect_ratio"]), 0.001, "aspect")
        flags = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=flags", "-of", "csv=p=0", self.path)
        equal(self.video[0]["keyFrames"], sum(line.startswith("K") for line in flags.splitlines()), "key frames")
        for ours, theirs in zip(self.audio, streams["audio"]):
            equal((ours["formatTag"], ours["samplesPerSecond"], ours["channels"]),
                  (int(theirs["codec_tag"], 16), int(theirs["sample_rate"]), theirs["channels"]), "sound")
        if self.video[0]["scan"]:
            frame = json.loads(run("ffprobe", "-v", "error", "-of", "json", "-select_streams", "v:0", "-show_frames", "-read_intervals",
                                   "%+#1", self.path))["frames"][0]
            order = ("lower field first", "upper field first")[frame["top_field_first"]] if frame["interlaced_frame"] else "progressive"
            equal(self.video[0]["scan"]["mode"], order, "order of fields")

    def with_mediainfo(self):
        tracks = json.loads(run("mediainfo", "--Output=JSON", self.path))["media"]["track"]
        whole, video, audio = ([track for track in tracks if track["@type"] == kind] for kind in ("General", "Video", "Audio"))
        near(self.summary["seconds"], whole[0]["Duration"], 0.001, "duration")
        near(self.summary["bitsPerSecond"], whole[0]["OverallBitRate"], 0.001 * self.summary["bitsPerSecond"], "overall rate")
        for ours, theirs in zip(self.video, video):
            equal((ours["width"], ours["height"], ours["frames"]),
                  (int(theirs["Width"]), int(theirs["Height"]), int(theirs["FrameCount"])), "picture")
            near(ours["frameRate"]["perSecond"], theirs["FrameRate"], 0.001, "frame rate")
            if ours["displayAspect"]:
                near(ours["displayAspect"]["horizontal"] / ours["displayAspect"]["vertical"], theirs["DisplayAspectRatio"], 0.001, "aspect")
        for ours, theirs in zip(self.audio, audio):
            equal((ours["formatTag"], ours["samplesPerSecond"], ours["channels"]),
                  (int(theirs["CodecID"], 16), int(theirs["SamplingRate"]), int(theirs["Channels"])), "sound")
            near(ours["bitsPerSecond"], theirs["BitRate"], 0.002 * ours["bitsPerSecond"], "bit rate")
            near(ours["seconds"], theirs["Duration"], 0.001, "duration of the sound")


def eval_ratio(text):
    left, right = text.split(":")
    return int(left) / int(right)


def main(arguments):
    if not arguments:
        print(__doc__, file=sys.stderr)
        return 2
    passed = failed = 0
    with tempfile.TemporaryDirectory(prefix="info-test-") as folder:
        made = avi_corpus.make_all(arguments[1] if len(arguments) > 1 else folder, NAMES)
        for name, path in sorted(made.items()):
            for peer in ("ffprobe", "mediainfo"):
                if shutil.which(peer) is None:
                    continue
                try:
                    getattr(Compared(arguments[0], path), f"with_{peer}")()
                    passed += 1
                except Exception:  # any error fails this comparison alone
                    failed += 1
                    print(f"FAILED {name} with {peer}\n{traceback.format_exc()}", file=sys.stderr)
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
