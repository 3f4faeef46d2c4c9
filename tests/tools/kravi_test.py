#!/usr/bin/env python3
"""Tests of kravi as a program: kravi_test.py PROGRAM [LAUNCHER...]

The launcher, such as an emulator, is put before the program. Ends with the line "N passed, N failed".
"""

import os
import sys

import cases_extract
import cases_files
import cases_hostile
import cases_report
from kravi_runner import run_cases


def main(arguments):
    if not arguments:
        print(__doc__, file=sys.stderr)
        return 2
    program = os.path.abspath(arguments[0])
    passed, failed = run_cases([cases_files, cases_report, cases_extract, cases_hostile], [*arguments[1:], program])
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
