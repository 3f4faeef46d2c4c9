#!/usr/bin/env python3
"""Times the recording of a long file against FFmpeg's copy of it: two_hours.py PROGRAM INPUT MEMORY DISK [ROUNDS]

PROGRAM is KrRecordingFigures, INPUT an AVI file with sound, MEMORY a folder in memory, DISK one on a disk, where the
output's sync belongs to the time of both. They take turns, and each round is a ratio of its own.
"""

import os
import statistics
import subprocess
import sys
import time


def timed(command, output, sync):
    if os.path.exists(output):
        os.remove(output)
    start = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    if sync:
        with open(output, "rb") as file:
            os.fsync(file.fileno())
    return time.monotonic() - start


def compare(name, program, source, folder, rounds, sync):
    ours, theirs = (os.path.join(folder, f"two-hours-{who}.avi") for who in ("ours", "ffmpeg"))
    times = {ours: [], theirs: []}
    commands = {ours: [program, "copy", source, ours],
                theirs: ["ffmpeg", "-nostdin", "-v", "quiet", "-y", "-i", source, "-c", "copy", theirs]}
    try:
        for number in range(rounds + 1):
            for output in (ours, theirs) if number % 2 == 0 else (theirs, ours):
                taken = timed(commands[output], output, sync)
                os.remove(output)
                if number > 0:  # everything is warm after the first
                    times[output].append(taken)
    finally:
        for output in times:
            if os.path.exists(output):
                os.remove(output)
    ratios = [mine / other for mine, other in zip(times[ours], times[theirs])]
    print(f"| {name} | {statistics.median(times[ours]):.2f} s | {statistics.median(times[theirs]):.2f} s | "
          f"{min(ratios):.2f} / {statistics.median(ratios):.2f} / {max(ratios):.2f} | 1.00 |", flush=True)


def main(program, source, memory, disk, rounds="9"):
    print("| recording of the two-hour file through the queue | ours, median | ffmpeg -c copy, median | "
          "ratio: min / median / max | target |")
    print("|---|---|---|---|---|")
    compare("into memory", program, source, memory, int(rounds), sync=False)
    compare("on a disk, with sync", program, source, disk, int(rounds), sync=True)


if __name__ == "__main__":
    if len(sys.argv) not in (5, 6):
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
