#!/usr/bin/env python3
"""Lets processes follow a recording, one that is closed and one that is killed:
followed_test.py SECONDS RECORDER FOLLOWER [LAUNCHER...]

Every chunk that a follower is given must have its bytes, the followers must see how the recording ended, and what they got
must be all that was indexed. Beside the recording that is closed another one has no followers: prints the longest submission
of both, and the longest lag from a frame's submission until a follower has it. Ends with the line "N passed, N failed".
"""

import os
import re
import subprocess
import sys
import tempfile

FOLLOWERS = 8
EMULATED_FOLLOWERS = 4  # each start takes seconds
FRAMES_PER_SECOND = 50
MOST_LAG = 2500  # milliseconds, in addition to the longest flush: the writer flushes once a second
COMPLETE, ABANDONED = 2, 3


def start(folder, *command):
    return subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)


def record(folder, recorder, launcher, *arguments):
    """The process, and when it began."""
    process = start(folder, *launcher, recorder, *arguments)
    began = re.fullmatch(r"recording (\d+)", process.stdout.readline().decode().strip())
    if not began:
        raise AssertionError("the recording did not start")
    return process, began[1]


def ended(recording, seconds):
    """The longest submission and the longest flush of a recording that was closed, in microseconds."""
    text = recording.communicate(timeout=seconds + 120)[0].decode().strip()
    figures = re.fullmatch(r"longest submission (\d+) us, longest flush (\d+) us", text)
    if recording.returncode != 0 or not figures:
        raise AssertionError(f"the recorder ended with {recording.returncode}: {text}")
    return tuple(map(int, figures.groups()))


def results(followers):
    found = []
    for process in followers:
        text = process.communicate(timeout=120)[0].decode().strip()
        match = re.fullmatch(r"state (\d+), video (\d+), audio (\d+), wrong (\d+), failed (\d+), at once (\d+), lag (\d+) ms", text)
        if not match:
            raise AssertionError(text)
        found.append(tuple(map(int, match.groups())))
    return found


def check(found, seconds, state):
    for result in found:
        if result[0] != state or result[3] or result[4] or result[:5] != found[0][:5]:
            raise AssertionError(f"{found}")
    video = found[0][1]
    least = (seconds - 2.5 if state == ABANDONED else seconds - 0.5) * FRAMES_PER_SECOND
    if video < least or abs(video - found[0][2]) > (0 if state == COMPLETE else 2 * FRAMES_PER_SECOND):
        raise AssertionError(f"{video} frames, {found[0][2]} blocks of sound in {seconds} s")


def follow(folder, seconds, state, recorder, follower, launcher):
    arguments = [str(int(seconds * 1000)), *(["close"] if state == COMPLETE else [])]
    recording, began = record(folder, recorder, launcher, "a.avi", *arguments)
    others = [record(folder, recorder, launcher, "alone.avi", *arguments)[0]] if state == COMPLETE else []
    followers = [start(folder, *launcher, follower, "a.avi", began)
                 for _ in range(EMULATED_FOLLOWERS if launcher else FOLLOWERS)]
    flush = 0
    if state == COMPLETE:
        submission, flush = ended(recording, seconds)
        alone, _ = ended(others[0], seconds)
        print(f"longest submission: {submission} us with {len(followers)} followers, {alone} us with none; longest flush {flush} us")
    recording.wait(timeout=seconds + 120)
    found = results(followers)
    check(found, seconds, state)
    lag = max(result[6] for result in found)
    print(f"{'complete' if state == COMPLETE else 'killed'}: {len(found)} followers, each {found[0][1]} frames and {found[0][2]} blocks "
          f"of sound with the right bytes; longest lag {lag} ms")
    if not launcher and lag > MOST_LAG + flush / 1000:
        raise AssertionError(f"frames come late: {found}")


def main(arguments):
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    seconds, (recorder, follower), launcher = float(arguments[0]), map(os.path.abspath, arguments[1:3]), arguments[3:]
    passed = failed = 0
    for state in (COMPLETE, ABANDONED):
        with tempfile.TemporaryDirectory(prefix="followed-test-") as folder:
            try:
                follow(folder, seconds, state, recorder, follower, launcher)
                passed += 1
            except (AssertionError, subprocess.TimeoutExpired) as problem:
                failed += 1
                print(f"FAILED {problem}")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
