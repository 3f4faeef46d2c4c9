#!/usr/bin/env python3
"""Lets several processes follow a recording, one that is closed and one that is killed:
followed_test.py SECONDS RECORDER FOLLOWER [LAUNCHER...]

Every chunk that a follower is given must have its bytes, the followers must see how the recording ended, and what they got
must be all that was indexed. Ends with the line "N passed, N failed".
"""

import os
import re
import subprocess
import sys
import tempfile

FOLLOWERS = 4
FRAMES_PER_SECOND = 25
COMPLETE, ABANDONED = 2, 3


def start(folder, *command):
    return subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)


def record(folder, recorder, launcher, *arguments):
    process = start(folder, *launcher, recorder, *arguments)
    line = process.stdout.readline()
    if not line.startswith(b"recording"):
        raise AssertionError(f"the recording did not start: {line}")
    return process


def results(followers):
    found = []
    for process in followers:
        text = process.communicate(timeout=120)[0].decode().strip()
        match = re.fullmatch(r"state (\d+), video (\d+), audio (\d+), wrong (\d+), failed (\d+), at once (\d+)", text)
        if not match:
            raise AssertionError(text)
        found.append(tuple(map(int, match.groups())))
    return found


def follow(folder, seconds, ends, recorder, follower, launcher):
    """`ends` are the recorder's arguments after the file, and the state that its followers must see."""
    arguments, state = ends
    recording = record(folder, recorder, launcher, "a.avi", str(int(seconds * 1000)), *arguments)
    followers = [start(folder, *launcher, follower, "a.avi") for _ in range(FOLLOWERS)]
    recording.wait(timeout=120)
    found = results(followers)
    for result in found:
        if result[0] != state or result[3] or result[4] or result != found[0][:5] + result[5:]:
            raise AssertionError(f"{found}")
    video = found[0][1]
    least = (seconds - 2.5 if state == ABANDONED else seconds - 0.5) * FRAMES_PER_SECOND
    if video < least or abs(video - found[0][2]) > (0 if state == COMPLETE else 2 * FRAMES_PER_SECOND):
        raise AssertionError(f"{video} frames, {found[0][2]} blocks of sound in {seconds} s")
    # The writer flushes once a second: nothing arrives much later than that.
    if not launcher and max(result[5] for result in found) > 2 * FRAMES_PER_SECOND:
        raise AssertionError(f"frames come late: {found}")


def main(arguments):
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    seconds, (recorder, follower), launcher = float(arguments[0]), map(os.path.abspath, arguments[1:3]), arguments[3:]
    cases = [lambda folder: follow(folder, seconds, (["close"], COMPLETE), recorder, follower, launcher),
             lambda folder: follow(folder, seconds, ([], ABANDONED), recorder, follower, launcher)]
    passed = failed = 0
    for case in cases:
        with tempfile.TemporaryDirectory(prefix="followed-test-") as folder:
            try:
                case(folder)
                passed += 1
            except (AssertionError, subprocess.TimeoutExpired) as problem:
                failed += 1
                print(f"FAILED {problem}")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
