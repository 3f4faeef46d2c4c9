"""Runs the tests: once without a mutant, to see which test reaches which, then each mutant with the tests that reach it."""

import dataclasses
import glob
import os
import resource
import shutil
import signal
import subprocess
import tempfile
import time

MEMORY = 8 << 30  # bytes of address space, and of one file, that a test may have
PATIENCE = 15     # seconds that a test may hang, beside a multiple of what it takes without a mutant
LIGHT = [0.5, 4]  # seconds: the tests that take so long together are run first


@dataclasses.dataclass
class Test:
    program: str
    name: str
    seconds: float = 0
    reached: frozenset = frozenset()
    failure: str = ""


def limited():
    os.setsid()
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)


def held_up(process):
    """Seconds that the process waited for a processor, which a busy machine makes long."""
    longest = 0
    for path in glob.glob(f"/proc/{process.pid}/task/*/schedstat"):
        try:
            with open(path, encoding="ascii") as stream:
                longest = max(longest, int(stream.read().split()[1]))
        except (OSError, IndexError):
            pass  # the thread has ended, or the system does not say
    return longest / 1e9


def wait_for(process, limit):
    """What the process printed, or None when it had to be killed since it does not end."""
    begin = time.monotonic()
    while True:
        try:
            return process.communicate(timeout=max(1, limit / 4))[0]
        except subprocess.TimeoutExpired:
            if time.monotonic() - begin - held_up(process) > limit:
                os.killpg(process.pid, signal.SIGKILL)
                process.communicate()
                return None


def start(program, names, limit, **variables):
    """Runs tests in a process and a folder of their own: nothing when all pass, else what went wrong."""
    folder = tempfile.mkdtemp(prefix="kr-mutant-")
    flags = os.path.join(folder, "flags")
    with open(flags, "w", encoding="ascii") as stream:
        stream.write("--gtest_filter=" + ":".join(names) + "\n--gtest_fail_fast\n--gtest_brief=1\n")
    environment = {**os.environ, "TMPDIR": folder, **variables}
    try:
        process = subprocess.Popen([program, "--gtest_flagfile=" + flags], cwd=folder, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   preexec_fn=limited, text=True, errors="replace")
        output = wait_for(process, limit)
        if output is None:
            return f"no end after {limit:.0f} s"
        if process.returncode == 0:
            return ""
        failed = [line.split("]")[1].split()[0].rstrip(",") for line in output.splitlines()
                  if line.startswith("[  FAILED  ] ") and "." in line]
        return failed[0] if failed else f"ended with {process.returncode}"
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def list_tests(program):
    output = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
    suite = ""
    for line in output.splitlines():
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            yield Test(program, suite + name.strip())
        elif name.endswith("."):
            suite = name


def measure(test, marks, count):
    """Runs one test alone, without a mutant; again when it fails, which a busy machine may cause."""
    if attempt(test, marks, count):
        attempt(test, marks, count)
    return test


def attempt(test, marks, count):
    with open(marks, "wb") as stream:
        stream.write(bytes(count + 1))
    begin = time.monotonic()
    test.failure = start(test.program, [test.name], 600, KR_MUTANT="0", KR_MUTANT_REACHED=marks)
    test.seconds = time.monotonic() - begin
    with open(marks, "rb") as stream:
        test.reached = frozenset(number for number, mark in enumerate(stream.read()) if mark)
    os.remove(marks)
    return test.failure


def portions(tests):
    """The tests in portions of one program each, the quick ones first."""
    rest = sorted(tests, key=lambda test: test.seconds)
    for most in LIGHT + [float("inf")]:
        portion, total = [], 0.0
        while rest and total + rest[0].seconds <= most:
            total += rest[0].seconds
            portion.append(rest.pop(0))
        for program in sorted({test.program for test in portion}):
            yield program, [test for test in portion if test.program == program]


def try_mutant(number, tests):
    """What notices the mutant: a test, a hang or a crash; nothing when it survives. A test that fails must do so twice."""
    def run(program, some):
        limit = PATIENCE + 6 * sum(test.seconds for test in some)
        return start(program, [test.name for test in some], limit, KR_MUTANT=str(number))
    for program, some in portions(tests):
        while some and (failure := run(program, some)):
            failed = [test for test in some if test.name == failure]
            if not failed or run(program, failed):
                return failure
            some.remove(failed[0])
    return ""
