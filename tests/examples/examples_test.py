#!/usr/bin/env python3
"""Runs the examples and compares what they print: examples_test.py FOLDER CHECKER [LAUNCHER...]

FOLDER holds the programs; on Windows their names end in '.exe'. CHECKER checks the recorded file; "-"
skips that. Ends with the line "N passed, N failed".
"""

import os
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))

import avi_builder as avi  # pylint: disable=wrong-import-position

RECORDED_FRAMES, RECORDED_BYTES = 50, 50 * 64 * 48 * 3
TOUR_SUM = sum(range(50)) * 64 * 48 * 3
TOUR = f"""video: 64 x 48, 50 frames in the headers
audio: 2 channels, 2.0 s
read: 50 frames, sum of bytes {TOUR_SUM}
chunk: LIST
chunk: KrlA
chunk: PrmA
chunk: CtsI
chunk: JUNK
chunk: LIST
chunk: idx1
scan mode: 2
pixel aspect ratio: 1:1
four threads: 200 frames
"""
CAPTURED = "".join(f"the disk is late: 8 frames wait, {lost} lost\n" for lost in (1, 2, 3)) + \
    f"recorded: 57 frames, 57 in the index, 3 lost, {8 * 64 * 48 * 3} bytes waited at most\n"


class Examples:
    def __init__(self, folder, checker, launcher, work):
        self.folder, self.checker, self.launcher, self.work = os.path.abspath(folder), checker, launcher, work
        self.passed = self.failed = 0

    def program(self, name):
        """Its path, or None if this platform has no such example."""
        for path in (os.path.join(self.folder, name), os.path.join(self.folder, name + ".exe")):
            if os.path.exists(path):
                return path
        return None

    def expect(self, name, argument, code, text):
        done = subprocess.run([*self.launcher, self.program(name), argument], cwd=self.work, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, timeout=120, check=False)
        out = done.stdout.decode("utf-8").replace("\r\n", "\n")
        self.count((done.returncode, out) == (code, text), f"{name} {argument}: {done.returncode} {out!r}")

    def expect_whole_file(self, name):
        shutil.copyfile(os.path.join(self.work, name), os.path.join(self.work, "checked.avi"))
        done = subprocess.run([*self.launcher, self.checker, "checked.avi"], cwd=self.work, stdout=subprocess.PIPE,
                              timeout=120, check=False)
        self.count(done.returncode == 0, f"{name}: {done.stdout.decode()}")

    def count(self, good, what):
        self.passed += bool(good)
        self.failed += not good
        if not good:
            print(f"FAILED {what}")


def run_all(examples):
    streams = avi.standard_streams(10)
    sizes = sum(len(chunk) for chunk in streams[0].chunks)
    name = "h\u00f6he.avi"  # outside ASCII
    with open(os.path.join(examples.work, name), "wb") as file:
        file.write(avi.simple_avi(streams, before_movi=avi.private_chunks(2, 64, 45)))
    with open(os.path.join(examples.work, "text.avi"), "wb") as file:
        file.write(b"no AVI file\n" * 100)
    examples.expect("ReadFrames", name, 0, f"10 frames, {sizes} bytes\n")
    examples.expect("ReadFrames", "missing.avi", 1, "the file cannot be opened\n")
    if examples.program("ClipInC") or examples.checker != "-":
        examples.expect("ClipInC", "in-c.avi", 0,
                        "".join(f"frame {number}: 9216 bytes of {number}\n" for number in range(10)))
        examples.expect("ClipInC", "missing/out.avi", 1, "file or folder not found\n")
        if examples.checker != "-":
            examples.expect_whole_file("in-c.avi")
    examples.expect("AskScanMode", name, 0, "scan mode: progressive\npixel aspect ratio: 64:45\n")
    examples.expect("AskScanMode", "missing.avi", 0, "scan mode: not declared\npixel aspect ratio: not declared\n")
    if examples.program("Tour") or examples.checker != "-":  # without a C++ library it cannot be built
        examples.expect("Tour", "t\u00f6ur.avi", 0, TOUR)
        examples.expect("Tour", "missing/out.avi", 1, "the file cannot be written\n")
    if examples.checker != "-":
        examples.expect_whole_file("t\u00f6ur.avi")
    if examples.program("ShowLastFrame"):
        last = streams[0].chunks[-1]
        examples.expect("ShowLastFrame", name, 0,
                        f"frame 9: brightness {sum(last) // len(last)}\n10 frames, complete\n")
        with open(os.path.join(examples.work, name), "rb") as file:
            cut = file.read()
        with open(os.path.join(examples.work, "cut.avi"), "wb") as file:
            file.write(cut[:-4])
        examples.expect("ShowLastFrame", "cut.avi", 1,
                        f"frame 9: brightness {sum(last) // len(last)}\n10 frames, abandoned\n")
        examples.expect("ShowLastFrame", "missing.avi", 1, "the file cannot be opened\n")
    if examples.program("CaptureHost") or examples.checker != "-":
        examples.expect("CaptureHost", "captured.avi", 0, CAPTURED)
        examples.expect("CaptureHost", "missing/out.avi", 1, "the file cannot be written\n")
    if examples.program("LoadAtRunTime"):
        examples.expect("LoadAtRunTime", name, 0,
                        "10 frames of 64 x 48\n2 channels at 48000 samples per second\n")
        examples.expect("LoadAtRunTime", "missing.avi", 1, "the file cannot be opened\n")
    if examples.program("RecordSamples"):
        examples.expect("RecordSamples", "recorded.avi", 0, "recorded\n")
        examples.expect("ReadFrames", "recorded.avi", 0, f"{RECORDED_FRAMES} frames, {RECORDED_BYTES} bytes\n")
        if examples.checker != "-":
            examples.expect_whole_file("recorded.avi")


def main(arguments):
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    folder, checker, *launcher = arguments
    with tempfile.TemporaryDirectory(prefix="examples-test-") as work:
        examples = Examples(folder, checker if checker == "-" else os.path.abspath(checker), launcher, work)
        run_all(examples)
    print(f"{examples.passed} passed, {examples.failed} failed")
    return 0 if examples.failed == 0 and examples.passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
