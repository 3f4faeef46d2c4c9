"""Runs kravi in a folder of its own and counts what was checked."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import traceback

TIMEOUT = 120
WRITING_VERBS = {"write": 1, "rewrap": 2, "recover": 2, "cut": 2, "concat": 0}  # and the argument that is the file written; -o goes before


class Result:
    def __init__(self, done):
        self.code = done.returncode
        self.out = done.stdout.decode("utf-8")  # must be valid at all times
        self.err = done.stderr.decode("utf-8")

    def json(self):
        return json.loads(self.out)

    def __str__(self):
        return f"exit code {self.code}\n--- stdout\n{self.out}\n--- stderr\n{self.err}"


class Kravi:
    """The program, and the folder of one test case, which relative names are in."""

    def __init__(self, launcher, program, checker, folder):
        self.command, self.folder = [*launcher, program], folder
        self.checker = [*launcher, checker]

    @property
    def is_emulated(self):
        return len(self.command) > 1

    def __call__(self, *arguments, is_again=False):
        done = subprocess.run([*self.command, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT, check=False)
        result = Result(done)
        if self.is_emulated and result.code == 1 and not result.out + result.err and not is_again:
            return self(*arguments, is_again=True)  # the emulator did not start it: kravi never ends without a word
        if result.code in (0, 1) and arguments[0] in WRITING_VERBS and not {"--help", "--version"} & set(arguments):
            place = arguments.index("-o") + 1 if "-o" in arguments else WRITING_VERBS[arguments[0]]
            check(not self.problems(arguments[place]), f"written: {arguments}")
        return result

    def problems(self, name):
        """What is wrong with a file that kravi wrote, byte by byte."""
        done = subprocess.run([*self.checker, name], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, timeout=TIMEOUT, check=False)
        text = done.stdout.decode("utf-8")
        equal(done.returncode, 1 if text else 0, "exit code of the checker")
        return text

    def start(self, *arguments):
        return subprocess.Popen([*self.command, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return name

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def remove(self, name):
        os.remove(self.path(name))

    def names(self):
        return sorted(os.listdir(self.folder))


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def equal(got, wanted, what):
    if got != wanted:
        raise AssertionError(f"{what}: got {shorten(got)}, wanted {shorten(wanted)}")


def shorten(value):
    text = repr(value)
    return text if len(text) < 2000 else text[:2000] + "..."


def exit_code(result, wanted):
    check(result.code == wanted, f"wanted exit code {wanted}\n{result}")
    return result


def run_cases(modules, launcher, program, checker):
    """Runs every function whose name starts with test_; returns how many passed and failed."""
    passed = failed = 0
    for module in modules:
        for name, case in sorted(vars(module).items()):
            if not name.startswith("test_") or not callable(case):
                continue
            folder = tempfile.mkdtemp(prefix="kravi-test-")
            try:
                case(Kravi(launcher, program, checker, folder))
                passed += 1
            except Exception:  # whatever goes wrong fails this case alone
                failed += 1
                print(f"FAILED {module.__name__}.{name}", file=sys.stderr)
                traceback.print_exc()
            finally:
                shutil.rmtree(folder, ignore_errors=True)
    return passed, failed
