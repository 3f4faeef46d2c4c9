#!/usr/bin/env python3
"""Kills recordings at random moments and checks the files: killed_test.py COUNT RECORDER CHECKER [LAUNCHER...]

Of the frames and blocks that were written, all but those of the last two seconds must be in the index. Where ffmpeg is
installed and there is no launcher it must open and seek the same files. Ends with the line "N passed, N failed".
"""

import concurrent.futures
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

FRAMES_PER_SECOND = 50
MOST_LOST = 2 * FRAMES_PER_SECOND
AT_ONCE = 8


def kill_one(number, seconds, recorder, checker, launcher, folder):
    path = f"killed{number}.avi"
    command = [*launcher, recorder, path]
    if launcher:
        command.append(str(int(seconds * 1000)))  # it kills itself: the launcher is not the recording process
    process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL)
    line = process.stdout.readline()
    if not line.startswith(b"recording"):
        return f"{path}: did not start: {line}", None
    try:
        process.wait(timeout=60 if launcher else seconds)
        if not launcher:
            return f"{path}: ended by itself", None
    except subprocess.TimeoutExpired:
        process.kill()
    process.wait()
    return check(path, seconds, checker, launcher, folder)


def check(path, seconds, checker, launcher, folder):
    done = subprocess.run([*launcher, checker, path], cwd=folder, stdout=subprocess.PIPE, timeout=120, check=False)
    text = done.stdout.decode().strip()
    found = re.fullmatch(r"video (\d+) of (\d+), audio (\d+) of (\d+), agree", text)
    if done.returncode != 0 or not found:
        return f"{path}: {text}", None
    frames, frames_written, blocks, blocks_written = map(int, found.groups())
    lost = frames_written - frames
    if lost > MOST_LOST or blocks_written - blocks > MOST_LOST:
        return f"{path} after {seconds:.2f} s: {text}", lost
    if frames > FRAMES_PER_SECOND and not launcher and shutil.which("ffmpeg"):
        problem = seek(os.path.join(folder, path), frames)
        if problem:
            return f"{path}: {problem}", lost
    os.remove(os.path.join(folder, path))
    return None, lost


def seek(path, frames):
    """The last second in the index must be found."""
    start = str((frames - FRAMES_PER_SECOND) / FRAMES_PER_SECOND)
    done = subprocess.run(["ffmpeg", "-v", "error", "-ss", start, "-i", path, "-map", "0:v", "-c", "copy", "-f",
                           "framecrc", "-"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=120, check=False)
    count = len(re.findall(rb"^0, +\d+", done.stdout, re.M))
    if done.returncode != 0 or count < FRAMES_PER_SECOND - 1:
        return f"ffmpeg finds {count} frames after {start} s: {done.stdout[-300:]}"
    return None


def main(arguments):
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    count, (recorder, checker), launcher = int(arguments[0]), map(os.path.abspath, arguments[1:3]), arguments[3:]
    moments = random.Random(count)
    passed = failed = 0
    losses = []
    with tempfile.TemporaryDirectory(prefix="killed-test-") as folder, \
            concurrent.futures.ThreadPoolExecutor(1 if launcher else AT_ONCE) as pool:
        jobs = [pool.submit(kill_one, number, moments.uniform(0.05, 4), recorder, checker, launcher, folder)
                for number in range(count)]
        for job in jobs:
            problem, lost = job.result()
            passed += problem is None
            failed += problem is not None
            if problem:
                print(f"FAILED {problem}")
            if lost is not None:
                losses.append(lost)
    if losses:
        print(f"frames written and not in the index: worst {max(losses)}, median {statistics.median(losses):g}")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
