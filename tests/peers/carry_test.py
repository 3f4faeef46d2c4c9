#!/usr/bin/env python3
"""Copies files of other programs with kravi: carry_test.py KRAVI CHECKER [--all] [NAME...]

Makes files with ffmpeg, MEncoder and GStreamer (see avi_corpus.py), some of them or with --all all, and compares each with
its copies: after rewrap, and after six cuts that concat joins again. All packets, their times and flags, all parameters and
tags must be those of the source for at least 95 of 100 files; the others are listed. CHECKER is the program that checks the
copies' bytes, and verify must find nothing in them that is not in the source. Ends with the line "N passed, N failed".
"""

import json
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
import avi_corpus  # noqa: E402
import avi_facts  # noqa: E402

PIECES = 6
UNFINISHED = {"from-pipe"}  # has no index, and lengths of 0x40000000, which a copy sets right
WALKED = "mjpeg-pcm.avi"  # has frames of odd sizes
ENOUGH = 0.95


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300,
                          check=False)


class Comparison:
    """One file and its copies."""

    def __init__(self, kravi, checker, path, folder):
        self.kravi, self.checker, self.path, self.folder = kravi, checker, path, folder
        self.source = avi_facts.probed(path)
        self.found = []

    def report(self, *arguments):
        done = run(self.kravi, *arguments, "--json")
        if done.returncode == 2:
            raise AssertionError(f"{arguments[0]}: {done.stderr.decode('utf-8', 'replace')}")
        return json.loads(done.stdout)

    def codes(self, path):
        return {result["code"] for result in self.report("verify", path)["results"]}

    def wrong_bytes(self, path):
        done = run(self.checker, "--copy", path)
        if done.returncode != 0:
            self.found.append(f"bytes of {os.path.basename(path)}: {done.stdout.decode('utf-8', 'replace')[:300]}")

    def rewrapped(self):
        copy = os.path.join(self.folder, "copy.avi")
        report = self.report("rewrap", self.path, copy, "--force")
        self.wrong_bytes(copy)
        self.found += [f"verify: {code}" for code in sorted(self.codes(copy) - self.codes(self.path))]
        self.found += avi_facts.differences(self.source, avi_facts.probed(copy))
        if avi_facts.hashed_packets(copy) != avi_facts.hashed_packets(self.path):
            self.found.append("ffmpeg's packets differ")
        return report

    def joined(self, frames):
        edges = [0, *sorted({frames * piece // PIECES for piece in range(1, PIECES)} - {0}), frames]
        pieces = []
        for number, (first, end) in enumerate(zip(edges, edges[1:])):
            pieces.append(os.path.join(self.folder, f"piece{number}.avi"))
            last = [] if end == frames else ["--to", str(end - 1)]
            self.report("cut", self.path, pieces[-1], "--from", str(first), *last, "--force")
            self.wrong_bytes(pieces[-1])
        copy = os.path.join(self.folder, "joined.avi")
        self.report("concat", *pieces, "-o", copy, "--force")
        self.wrong_bytes(copy)
        joined = avi_facts.probed(copy)
        old, new = (pictures(facts) for facts in (self.source, joined))
        if old != new:
            self.found.append(f"joined: {len(old)} packets of pictures became {len(new)}, or differ")
        for stream in sounds(self.source):
            if sound_bytes(self.path, stream) != sound_bytes(copy, stream):
                self.found.append(f"joined: stream {stream} differs")

    def read_by_walking(self):
        """Programs that walk from chunk to chunk, and know only even sizes: MEncoder without an index, GStreamer on a pipe."""
        copy, again, raw = (os.path.join(self.folder, name) for name in ("copy.avi", "again.avi", "raw"))
        run("mencoder", "-really-quiet", "-forceidx", "-ovc", "copy", "-oac", "copy", copy, "-o", again)
        frames = [len(pictures(facts)) for facts in (self.source, avi_facts.probed(again))]
        with open(copy, "rb") as file:
            subprocess.run(["gst-launch-1.0", "-q", "fdsrc", "fd=0", "!", "avidemux", "name=d", "d.video_0", "!", "queue", "!",
                            "filesink", f"location={raw}", "d.audio_0", "!", "queue", "!", "fakesink"], stdin=file,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60, check=False)
        sizes = [sum(int(packet["size"]) for packet in pictures(self.source)), os.path.getsize(raw)]
        if frames[0] != frames[1] or sizes[0] != sizes[1]:
            self.found.append(f"walked: frames {frames}, bytes {sizes}")

    def run(self):
        try:
            report = self.rewrapped()
            if os.path.basename(self.path) == WALKED:
                self.read_by_walking()
            if report.get("frames"):
                self.joined(report["frames"])
        except AssertionError as error:
            self.found.append(str(error))
        return self.found


def pictures(facts):
    return [packet for packet in facts.get("packets", []) if packet["codec_type"] == "video"]


def sounds(facts):
    return [stream["index"] for stream in facts.get("streams", []) if stream["codec_type"] == "audio"]


def sound_bytes(path, stream):
    return avi_facts.output("ffmpeg", "-v", "error", "-i", path, "-map", f"0:{stream}", "-c", "copy", "-f", "data", "-")


def main(arguments):
    takes_all = "--all" in arguments
    kravi, checker, *names = [argument for argument in arguments if argument != "--all"]
    kravi, checker = os.path.abspath(kravi), os.path.abspath(checker)
    if not takes_all and not names:
        names = avi_corpus.QUICK
    passed = others = 0
    with tempfile.TemporaryDirectory(prefix="kravi-carry-") as folder:
        paths = avi_corpus.make_all(os.path.join(folder, "corpus"), None if takes_all else names)
        for name, path in sorted(paths.items()):
            found = Comparison(kravi, checker, path, folder).run()
            passed += not found
            others += bool(found) and name not in UNFINISHED
            if found:
                print(f"{name}{' (expected)' if name in UNFINISHED else ''}: {'; '.join(found)}", flush=True)
    print(f"{passed} of {len(paths)} files carried whole")
    enough = passed >= ENOUGH * len(paths) and (len(paths) >= 80 if takes_all else len(paths) >= 6)
    failed = others if others or enough else 1
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
