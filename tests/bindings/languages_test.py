#!/usr/bin/env python3
"""Builds and runs the examples in other languages than C++, against the C interface's library:
languages_test.py SOURCES PROGRAMS LIBRARIES CHECKER

Each writes a clip and reads every frame of it back. What it prints is compared, the file is checked byte by byte by CHECKER, and
read by an example in C++ from PROGRAMS. LIBRARIES is the folder of the library. Ends with the line "N passed, N failed".
"""

import os
import shutil
import subprocess
import sys
import tempfile
import traceback

FRAMES, FRAME_BYTES, MOST_LINES = 10, 64 * 48 * 3, 59
PRINTED = "".join(f"frame {number}: {FRAME_BYTES} bytes of {number}\n" for number in range(FRAMES))


class Languages:
    def __init__(self, sources, programs, libraries, checker, work):
        self.sources, self.programs = os.path.abspath(sources), os.path.abspath(programs)
        self.libraries, self.checker, self.work = os.path.abspath(libraries), os.path.abspath(checker), work
        include = os.path.join(self.sources, "include")
        self.environment = {**os.environ, "LD_LIBRARY_PATH": self.libraries, "LC_ALL": "C.UTF-8",
                            "GOCACHE": os.path.join(work, "cache"), "GO111MODULE": "off", "GOFLAGS": "",
                            "CGO_CFLAGS": f"-I{include}", "CGO_LDFLAGS": f"-L{self.libraries}"}

    def run(self, *command, expected=0):
        done = subprocess.run(command, cwd=self.work, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=600, check=False)
        text = done.stdout.decode("utf-8")
        if done.returncode != expected:
            raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{text}")
        return text

    def source(self, name):
        path = os.path.join(self.sources, "examples", name)
        with open(path, encoding="utf-8") as file:
            lines = len(file.readlines())
        if lines > MOST_LINES:
            raise AssertionError(f"{name} has {lines} lines")
        return path

    def check_host(self, *host):
        """What a host prints, and the file that it writes."""
        clip = "h\u00f6he.avi"  # outside ASCII
        printed = self.run(*host, clip)
        if printed != PRINTED:
            raise AssertionError(printed)
        read = self.run(os.path.join(self.programs, "ReadFrames"), clip)
        if read != f"{FRAMES} frames, {FRAMES * FRAME_BYTES} bytes\n":
            raise AssertionError(read)
        os.rename(os.path.join(self.work, clip), os.path.join(self.work, "checked.avi"))  # a name that the checker can read
        self.run(self.checker, "checked.avi")
        printed = self.run(*host, os.path.join("missing", "out.avi"), expected=1)
        if printed != "file or folder not found\n":
            raise AssertionError(printed)

    def test_c(self):
        self.run("cc", "-std=c11", "-Wall", "-Wextra", "-Werror", f"-I{self.sources}/include", self.source("ClipInC.c"),
                 f"-L{self.libraries}", "-lKrRiffUtilsC", "-o", "in-c")
        self.check_host("./in-c")

    def test_csharp(self):
        self.run("mcs", "-warnaserror", "-out:in-csharp.exe", self.source("ClipInCSharp.cs"))
        self.check_host("mono", "in-csharp.exe")

    def test_rust(self):
        self.run("rustc", "--edition=2021", "-D", "warnings", "-L", self.libraries, "-o", "in-rust", self.source("ClipInRust.rs"))
        self.check_host("./in-rust")

    def test_go(self):
        self.run("go", "vet", self.source("ClipInGo.go"))
        self.run("go", "build", "-o", "in-go", self.source("ClipInGo.go"))
        self.check_host("./in-go")


def main(arguments):
    passed = failed = 0
    for name in sorted(name for name in dir(Languages) if name.startswith("test_")):
        work = tempfile.mkdtemp(prefix="languages-test-")
        try:
            getattr(Languages(*arguments, work), name)()
            passed += 1
        except Exception:  # any error fails this case alone
            failed += 1
            print(f"FAILED {name}")
            traceback.print_exc(file=sys.stdout)
        finally:
            shutil.rmtree(work)
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
