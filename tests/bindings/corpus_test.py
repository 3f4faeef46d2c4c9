#!/usr/bin/env python3
"""Files of the tests give the same answers from memory as from the disk: corpus_test.py KRCTESTS [--whole MAKEFILES]

Makes files of the other tests, whole and damaged in ways that kravi verify is tested with, and has KrCTests compare them. --whole
takes all of these, the files of other programs (see avi_corpus.py) and, from the program MAKEFILES, recordings. Ends with the
line "N passed, N failed".
"""

import os
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))

import avi_corpus  # pylint: disable=wrong-import-position
import verify_damages  # pylint: disable=wrong-import-position

TEST = "COsFiles.OfACorpus_AreTheSameInMemory"
MOST_BYTES = 1 << 28  # of a file that is held in memory


def make_files(folder, make_files_program):
    made = {f"base-{name}": verify_damages.base(name) for name in verify_damages.BASES}
    damages = verify_damages.DAMAGES[::1 if make_files_program else 4]
    made.update((f"damage-{number}", verify_damages.damaged(row)[0]) for number, row in enumerate(damages))
    for name, data in made.items():
        with open(os.path.join(folder, name), "wb") as file:
            file.write(data)
    if make_files_program:
        avi_corpus.make_all(folder)
        subprocess.run([make_files_program, folder], stdout=subprocess.DEVNULL, timeout=600, check=True)
    for name in os.listdir(folder):
        if os.path.getsize(os.path.join(folder, name)) > MOST_BYTES:
            os.remove(os.path.join(folder, name))
    return len(os.listdir(folder))


def main(arguments):
    program, *rest = arguments
    with tempfile.TemporaryDirectory(prefix="corpus-test-") as folder:
        files = make_files(folder, rest[1] if rest[:1] == ["--whole"] else None)
        done = subprocess.run([program, f"--gtest_filter={TEST}"], env={**os.environ, "KR_CORPUS": folder}, timeout=1800,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    text = done.stdout.decode("utf-8", "replace")
    compared = re.search(r"^(\d+) files, (\d+) of them open", text, re.MULTILINE)
    good = done.returncode == 0 and compared and int(compared[1]) >= files > 40
    print(text[-4000:] if not good else compared[0])
    print("1 passed, 0 failed" if good else "0 passed, 1 failed")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
