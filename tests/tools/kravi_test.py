#!/usr/bin/env python3
"""Tests of kravi as a program: kravi_test.py PROGRAM CHECKER [--writing] [--no-shells] [LAUNCHER...]

CHECKER is the program that checks each file that kravi writes. With --writing only the verbs that write such files are
tested, which have threads. With --no-shells the scripts and the page that kravi prints are not passed to shells and
page readers. The launcher, such as an emulator, is put before both programs. Ends with the line "N passed, N failed".
"""

import contextlib
import glob
import importlib
import os
import subprocess
import sys

import cases_concat
import cases_cut
import cases_manual
import cases_write
from kravi_runner import run_cases


def all_cases():
    """The modules cases_*.py beside this file."""
    paths = sorted(glob.glob(os.path.join(os.path.dirname(os.path.abspath(__file__)), "cases_*.py")))
    return [importlib.import_module(os.path.basename(path)[:-len(".py")]) for path in paths]


@contextlib.contextmanager
def kept_awake(launcher):
    """An emulator takes seconds to start its services, and ends them with its last program: keep one running."""
    if not launcher:
        yield
        return
    waiting = subprocess.Popen([*launcher, "cmd.exe", "/c", "echo ready & pause"], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    waiting.stdout.readline()  # programs started during its own start can hang
    try:
        yield
    finally:
        waiting.communicate()


def main(arguments):
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    program, checker = (os.path.abspath(path) for path in arguments[:2])
    launcher = [argument for argument in arguments[2:] if argument not in ("--writing", "--no-shells")]
    cases_manual.tools_are_asked = "--no-shells" not in arguments
    cases = [cases_write, cases_cut, cases_concat] if "--writing" in arguments else all_cases()
    with kept_awake(launcher):
        passed, failed, held = run_cases(cases, launcher, program, checker, os.cpu_count())
    print(f"{held} JSON objects held against their schemas")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
