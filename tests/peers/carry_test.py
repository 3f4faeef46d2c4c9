#!/usr/bin/env python3
"""Copies files of other programs with kravi: carry_test.py KRAVI CHECKER [--all] [--launcher PROGRAM] [NAME...]

Makes files with ffmpeg, MEncoder and GStreamer (see avi_corpus.py), some of them or with --all all, and compares each with
its copies: after rewrap, and after six cuts that concat joins again; with --all also after recover, see damaged_copies.py, and
as MPlayer, MEncoder, GStreamer and mediainfo see them. All packets, their times and flags, all parameters and
tags must be those of the source for at least 95 of 100 files; the others are listed. CHECKER is the program that checks the
copies' bytes, and verify must find nothing in them that is not in the source. Ends with the line "N passed, N failed".
PROGRAM, such as wine, runs both. A file is made of two cuts there, as each start takes long.
"""

import argparse
import concurrent.futures
import json
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
import avi_corpus  # noqa: E402
import avi_facts  # noqa: E402
import damaged_copies  # noqa: E402
import kravi_test  # noqa: E402

# What stays different, by the first words of the difference, and why.
EXPECTED = {"from-pipe": {
    ("stream ", "file: ", "MPlayer: ", "mediainfo: "): "it has no index, and lengths of 0x40000000, which a copy sets right",
    ("zeroed: stream 0 is off", "zeroed: stream 1 is off"): "nothing in it tells how much the zeros took"},
    "pal-changes": {
    ("MPlayer: frames ",): "what it shows of such files depends on their names, too"},
    "sound-vorbis": {
    ("mediainfo: ",): "it reads on from the sound's format into the filler after it, which is not carried"}}
WALKED = "mjpeg-pcm.avi"  # has frames of odd sizes, and must be read whole
ENOUGH = 0.95


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=900,
                          check=False)


class Comparison:
    """One file and its copies. `programs`: kravi and the checker with what starts them; `thorough` looks at them with more
    programs, and at what recover makes of damaged ones."""

    def __init__(self, programs, path, folder, thorough):
        self.programs, self.path, self.folder, self.thorough = programs, path, folder, thorough
        self.is_walked = os.path.basename(path) == WALKED
        self.source = avi_facts.probed(path)
        self.found = []

    def started(self, command, *arguments):
        done = run(*command, *arguments)
        if self.programs.launcher and done.returncode == 1 and not done.stdout + done.stderr:
            return run(*command, *arguments)  # the emulator did not start it: no program of ours ends silently with 1
        return done

    def report(self, *arguments):
        done = self.started(self.programs.kravi, *arguments, "--json")
        if done.returncode == 2:
            raise AssertionError(f"{arguments[0]}: {done.stderr.decode('utf-8', 'replace')}")
        return json.loads(done.stdout)

    def codes(self, path):
        return {result["code"] for result in self.report("verify", path)["results"]}

    def wrong_bytes(self, path):
        done = self.started(self.programs.checker, "--copy", path)
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
        if self.thorough and not self.programs.launcher:
            for name, read in (("MPlayer", avi_facts.played), ("mediainfo", avi_facts.described)):
                old, new = read(self.path), read(copy)
                self.found += [] if old == new else [f"{name}: {avi_facts.changed(old, new)}"]
        return report

    def joined(self, frames):
        count = self.programs.pieces
        edges = [0, *sorted({frames * piece // count for piece in range(1, count)} - {0}), frames]
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
        copy = os.path.join(self.folder, "copy.avi")
        new = self.walked(copy)
        if self.is_walked:
            old = len(pictures(self.source)), sum(int(packet["size"]) for packet in pictures(self.source))
        else:
            old = self.walked(self.path)
        if any(after < before for before, after in zip(old, new)):
            self.found.append(f"walked: frames and bytes {old}, in the copy {new}")

    def walked(self, path):
        """What programs find that walk from chunk to chunk, and know only even sizes: frames by MEncoder without an index,
        bytes of pictures by GStreamer on a pipe."""
        again, raw = (os.path.join(self.folder, name) for name in ("again.avi", "raw"))
        for old in (again, raw):
            if os.path.exists(old):
                os.remove(old)
        run("mencoder", "-really-quiet", "-forceidx", "-ovc", "copy", "-oac", "copy", path, "-o", again)
        with open(path, "rb") as file:
            subprocess.run(["gst-launch-1.0", "-q", "fdsrc", "fd=0", "!", "avidemux", "name=d", "d.video_0", "!", "queue", "!",
                            "filesink", f"location={raw}"], stdin=file, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                           timeout=300, check=False)
        return len(pictures(avi_facts.probed(again))), os.path.getsize(raw) if os.path.exists(raw) else 0

    def recovered(self):
        """Copies of the file with each kind of damage; one that recover cannot make is a difference, too."""
        copy = os.path.join(self.folder, "recovered.avi")

        def recover(path):
            report = self.report("recover", path, copy, "--force")
            self.wrong_bytes(copy)
            filled = {"chunk-empty", "chunk-empty-run"} if report.get("framesFilled") else set()
            self.found += [f"verify after recover: {code}" for code in sorted(self.codes(copy) - self.codes(self.path) - filled)]
            with open(copy, "rb") as file:
                return file.read(), report

        damages = damaged_copies.Damages(self.path, self.folder, recover)
        for damage in (damages.cut, damages.zeroed, damages.without_index):
            self.found += [f"{damage.__name__}: {text}" for text in damage()]

    def run(self):
        try:
            report = self.rewrapped()
            if self.is_walked or (self.thorough and not self.programs.launcher and pictures(self.source)):
                self.read_by_walking()
            if report.get("frames"):
                self.joined(report["frames"])
            if self.thorough:
                self.recovered()
        except (AssertionError, subprocess.TimeoutExpired) as error:
            self.found.append(str(error))
        return self.found


def pictures(facts):
    return [packet for packet in facts.get("packets", []) if packet["codec_type"] == "video"]


def sounds(facts):
    return [stream["index"] for stream in facts.get("streams", []) if stream["codec_type"] == "audio"]


def sound_bytes(path, stream):
    return avi_facts.output("ffmpeg", "-v", "error", "-i", path, "-map", f"0:{stream}", "-c", "copy", "-f", "data", "-")


class Programs:
    def __init__(self, asked):
        self.launcher = [asked.launcher] if asked.launcher else []
        self.kravi = [*self.launcher, os.path.abspath(asked.kravi)]
        self.checker = [*self.launcher, os.path.abspath(asked.checker)]
        self.pieces = 2 if self.launcher else 6


def reason(name, text):
    """Why a difference is expected, or nothing."""
    return next((why for starts, why in EXPECTED.get(name, {}).items() if text.startswith(starts)), None)


def compared(programs, paths, thorough, folder):
    """Name and differences of each file, some of them at the same time."""
    def compare(item):
        own = os.path.join(folder, item[0])
        os.mkdir(own)
        found = Comparison(programs, item[1], own, thorough).run()
        shutil.rmtree(own)
        return item[0], found

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() if thorough else 1) as pool:
        yield from pool.map(compare, sorted(paths.items()))


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kravi")
    parser.add_argument("checker")
    parser.add_argument("names", nargs="*")
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--launcher")
    asked = parser.parse_intermixed_args(arguments)
    names = None if asked.all else asked.names or avi_corpus.QUICK
    programs, passed, failed = Programs(asked), 0, 0
    with tempfile.TemporaryDirectory(prefix="kravi-carry-") as folder, kravi_test.kept_awake(programs.launcher):
        paths = avi_corpus.make_all(os.path.join(folder, "corpus"), names)
        for name, found in compared(programs, paths, asked.all or bool(asked.names), folder):
            passed += not found
            failed += any(reason(name, text) is None for text in found)
            for text in found:
                print(f"{name}: {text}{f' (expected: {reason(name, text)})' if reason(name, text) else ''}", flush=True)
    print(f"{passed} of {len(paths)} files carried whole")
    enough = len(paths) == len(set(asked.names)) if asked.names else \
        passed >= ENOUGH * len(paths) and len(paths) >= (80 if asked.all else 6)
    failed = failed if failed or enough else 1
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
