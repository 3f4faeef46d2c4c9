#!/usr/bin/env python3
"""Records on a volume of a few megabytes until it is full: full_disk_test.py RECORDER CHECKER

Everything written before must be in the index, except the last two seconds. Where this user may not mount a volume, nothing
is tested. Ends with the line "N passed, N failed".
"""

import os
import re
import subprocess
import sys
import tempfile

MOST_LOST = 100
SIZES = ("600k", "1m", "3m")


def record(size, recorder, checker):
    """None on success, else the problem."""
    with tempfile.TemporaryDirectory(prefix="full-disk-test-") as folder:
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "none", folder],
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if mounted.returncode != 0:
            print(f"skipped: {mounted.stdout.decode().strip()}")
            return None
        try:
            done = subprocess.run([recorder, "full.avi"], cwd=folder, stdout=subprocess.PIPE, timeout=120, check=False)
            if done.returncode != 1:
                return f"{size}: the recorder ended with {done.returncode}"
            text = subprocess.run([checker, "full.avi"], cwd=folder, stdout=subprocess.PIPE, timeout=120,
                                  check=False).stdout.decode().strip()
            found = re.fullmatch(r"video (\d+) of (\d+), audio (\d+) of (\d+), agree", text)
            if not found or int(found[2]) == 0 or int(found[2]) - int(found[1]) > MOST_LOST:
                return f"{size}: {text}"
            print(f"{size}: {text}")
        finally:
            subprocess.run(["umount", folder], check=True)
    return None


def main(arguments):
    if len(arguments) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    problems = [record(size, *map(os.path.abspath, arguments)) for size in SIZES]
    for problem in filter(None, problems):
        print(f"FAILED {problem}")
    failed = len(list(filter(None, problems)))
    print(f"{len(problems) - failed} passed, {failed} failed")
    return 0 if failed == 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
