#!/usr/bin/env python3
"""Counts the system calls and memory of single operations: processes.py PROGRAM FOLDER

PROGRAM is KrOneOperation, FOLDER holds the input files. Each operation runs alone for its memory and once more
under strace for its system calls.
"""

import os
import subprocess
import sys
import tempfile

OPERATIONS = (
    ("open, idx1", "open", "idx1.avi"),
    ("open and load the video index, idx1", "load-video", "idx1.avi"),
    ("open and load the audio index, idx1", "load-audio", "idx1.avi"),
    ("open and load the video index, OpenDML", "load-video", "odml.avi"),
    ("open and search 180,000 chunks", "search", "idx1.avi"),
    ("open and walk 700,000 chunks of 100 bytes", "walk", "dense100.avi"),
    ("open over 100 MB of zeros", "open", "zeros.avi"),
)


def system_calls(command):
    """Between the program's two marks, without them."""
    with tempfile.TemporaryDirectory() as folder:
        trace = os.path.join(folder, "trace")
        subprocess.run(["strace", "-o", trace, *command], check=True, stdout=subprocess.DEVNULL)
        with open(trace, encoding="utf-8", errors="replace") as file:
            names = [line.split("(", 1)[0] for line in file]
    first = names.index("getppid")
    last = names.index("getppid", first + 1)
    return last - first - 1


def megabytes(count):
    return f"{count / 1e6:.2f} MB"


def main(program, folder):
    print("| operation | system calls | resident memory, more than before | peak, more than before | entries x 16 bytes |")
    print("|---|---|---|---|---|")
    for name, operation, file in OPERATIONS:
        command = [program, operation, os.path.join(folder, file)]
        run = subprocess.run(command, check=True, capture_output=True, text=True)
        before, after, peak, produced = (int(word) for word in run.stdout.split())
        entries = megabytes(produced * 16) if operation.startswith("load") else "-"
        print(f"| {name} | {system_calls(command)} | {megabytes(after - before)} | {megabytes(max(peak - before, 0))} "
              f"| {entries} |")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
