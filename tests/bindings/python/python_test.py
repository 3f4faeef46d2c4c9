#!/usr/bin/env python3
"""Tests the Python package: python_test.py LIBRARY [PROGRAMS] [--full] [NAME...]

LIBRARY is the C library that the package loads, PROGRAMS the folder of kravi, ffmpeg must be installed for --full, which reads
files of many writers and looks for leaks. NAME selects cases, as in unittest. Ends with the line "N passed, N failed".
"""

import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))


def main(arguments):
    is_full = "--full" in arguments
    library, *rest = [argument for argument in arguments if argument != "--full"]
    os.environ["KRAVI_LIBRARY"] = os.path.abspath(library)
    if rest and os.path.isdir(rest[0]):
        os.environ["KRAVI_PROGRAM"] = os.path.join(os.path.abspath(rest.pop(0)), "kravi")
    sys.path.insert(0, HERE)
    pattern = "*_full.py" if is_full else "*_test.py"
    loader = unittest.TestLoader()
    if rest:
        loader.testNamePatterns = [f"*{name}*" for name in rest]
    names = sorted(name[:-3] for name in os.listdir(HERE) if name.endswith(pattern[1:]) and name != "python_test.py")
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=0).run(loader.loadTestsFromNames(names))
    bad = len({getattr(test, "test_case", test).id() for test, _ in result.failures + result.errors})
    passed = result.testsRun - bad - len(result.skipped)
    print(f"{passed} passed, {bad} failed")
    return 0 if bad == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
