#!/usr/bin/env python3
"""Reads the writer's files with independent programs: peers_test.py MAKEFILES

Each must be installed. Ends with the line "N passed, N failed".
"""

import json
import re
import subprocess
import sys
import tempfile
import traceback

FILES = {"one": 100, "three": 50}  # frames at 25 per second
SAMPLES_PER_FRAME = 1920


def run(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=600, check=False)
    return done.returncode, done.stdout.decode("utf-8", "replace")


def equal(got, wanted, what):
    if got != wanted:
        raise AssertionError(f"{what}: got {got}, wanted {wanted}")


def ffprobe(path, frames, has_sound):
    code, text = run("ffprobe", "-v", "quiet", "-count_packets", "-show_streams", "-show_format", "-of", "json", path)
    equal(code, 0, text)
    report = json.loads(text)
    video = report["streams"][0]
    equal(len(report["streams"]), 2 if has_sound else 1, "streams")
    equal((int(video["nb_frames"]), int(video["nb_read_packets"])), (frames, frames), "frames")
    equal(float(report["format"]["duration"]), frames / 25, "duration")
    if has_sound:
        # Counted in sample frames, like dwLength.
        equal(int(report["streams"][1]["nb_frames"]), frames * SAMPLES_PER_FRAME, "samples")


def ffmpeg(path, frames, has_sound):
    """All bytes of the sound are read, and seeking to the last second finds frames."""
    if has_sound:
        done = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-c", "copy", "-f", "s16le", "-"],
                              stdout=subprocess.PIPE, timeout=600, check=True)
        equal(len(done.stdout), frames * SAMPLES_PER_FRAME * 4, "bytes of sound")
    code, text = run("ffmpeg", "-v", "error", "-ss", str(frames / 25 - 1), "-i", path, "-map", "0:v", "-c", "copy",
                     "-f", "framecrc", "-")
    equal(code, 0, text)
    equal(len(re.findall(r"^0, +\d+", text, re.M)), 25, "frames of the last second")


def mediainfo(path, frames, has_sound):
    code, text = run("mediainfo", "--Output=JSON", path)
    equal(code, 0, text)
    tracks = {track["@type"]: track for track in json.loads(text)["media"]["track"]}
    equal((int(tracks["Video"]["FrameCount"]), float(tracks["Video"]["Duration"])), (frames, frames / 25), "video")
    equal("Audio" in tracks, has_sound, "sound")
    if has_sound:
        equal(int(tracks["Audio"]["SamplingCount"]), frames * SAMPLES_PER_FRAME, "samples")


def gstreamer(path, frames, has_sound):
    """Every frame and all of the sound reach the end of a pipeline."""
    def sizes(pad, other):
        pads = [f"d.{pad}", "!", "queue", "!", "fakesink", "name=v", "sync=false", "silent=false"]
        if has_sound:
            pads += [f"d.{other}", "!", "queue", "!", "fakesink", "sync=false"]
        code, text = run("gst-launch-1.0", "-v", "filesrc", f"location={path}", "!", "avidemux", "name=d", *pads)
        equal(code, 0, text[-2000:])
        return [int(size) for size in re.findall(r"FakeSink:v: last-message = chain .*?\((\d+) bytes", text)]

    equal(len(sizes("video_0", "audio_0")), frames, "frames")
    if has_sound:
        equal(sum(sizes("audio_0", "video_0")), frames * SAMPLES_PER_FRAME * 4, "bytes of sound")


def mplayer(path, frames, has_sound):
    code, text = run("mplayer", "-noconfig", "all", "-identify", "-frames", "0", "-vo", "null", "-ao", "null", path)
    equal(code, 0, text)
    facts = dict(re.findall(r"^(ID_\w+)=(.*)$", text, re.M))
    equal(facts["ID_VIDEO_FORMAT"], "MJPG", "format")
    equal((float(facts["ID_VIDEO_FPS"]), float(facts["ID_LENGTH"])), (25, frames / 25), "rate and length")
    equal("ID_AUDIO_ID" in facts, has_sound, "sound")


def main(arguments):
    passed = failed = 0
    with tempfile.TemporaryDirectory(prefix="kravi-peers-") as folder:
        code, text = run(arguments[0], folder)
        if code != 0:
            print(text)
            return 1
        for peer in (ffprobe, ffmpeg, mediainfo, gstreamer, mplayer):
            for name, frames in FILES.items():
                for sound in ("silent", "sound"):
                    try:
                        peer(f"{folder}/{name}-{sound}.avi", frames, sound == "sound")
                        passed += 1
                    except Exception:  # any error fails this case alone
                        failed += 1
                        print(f"FAILED {peer.__name__}: {name}-{sound}", file=sys.stderr)
                        traceback.print_exc()
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
