#!/usr/bin/env python3
"""Tests of kravi as a program, which end with the line "N passed, N failed"."""

import argparse
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
from kravi_runner import Programs, run_cases


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


def parsed(arguments):
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("checker", help="checks each file that kravi writes")
    parser.add_argument("--writing", action="store_true",
                        help="only the verbs that write such files, which have threads")
    parser.add_argument("--no-shells", action="store_true",
                        help="does not pass what kravi prints to shells and page readers")
    parser.add_argument("--slow", action="store_true", help="tries a sixth of the variations of cases that have many")
    parser.add_argument("--server", help="runs both programs where nothing is asked of their processes")
    parser.add_argument("launcher", nargs="*", help="put before both programs, such as an emulator")
    return parser.parse_intermixed_args(arguments)


def main(arguments):
    asked = parsed(arguments)
    launcher = asked.launcher
    programs = Programs(os.path.abspath(asked.program), os.path.abspath(asked.checker), launcher,
                        asked.server and os.path.abspath(asked.server), asked.slow)
    cases_manual.tools_are_asked = not asked.no_shells
    cases = [cases_write, cases_cut, cases_concat] if asked.writing else all_cases()
    with kept_awake(launcher):
        passed, failed, held = run_cases(cases, programs, os.cpu_count())
    print(f"{held} JSON objects held against their schemas")
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
