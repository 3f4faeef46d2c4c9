"""Runs kravi in separate folders and counts the checks."""

import concurrent.futures
import json
import multiprocessing
import os
import re
import shutil
import subprocess
import sys
import tempfile
import traceback

import json_schemas
import kravi_server

TIMEOUT = 120
WRITING_VERBS = {"write": 1, "rewrap": 2, "recover": 2, "cut": 2, "concat": 0}  # and the argument that is the file written; -o goes before
COPYING_VERBS = ("rewrap", "cut", "concat", "recover")  # whose files have their own layout, unless the arguments say otherwise
HEADER_OPTIONS = {"--size", "--codec", "--bits", "--pcm"}  # with which recover writes recordings
VERBS = {}  # of each program
SERVERS = {}  # of each process of tests


class Result:
    def __init__(self, done):
        self.code = done.returncode
        self.out = done.stdout.decode("utf-8")  # must be valid at all times
        self.err = done.stderr.decode("utf-8")

    def json(self):
        return json.loads(self.out)

    def objects(self):
        """Those of a verb that prints an object a line."""
        return [json.loads(line) for line in self.out.splitlines()]

    def __str__(self):
        return f"exit code {self.code}\n--- stdout\n{self.out}\n--- stderr\n{self.err}"


class Kravi:
    """The program, and the folder of one test case, to which names are relative."""

    def __init__(self, programs, folder):
        self.command, self.folder = [*programs.launcher, programs.kravi], folder
        self.checker = [*programs.launcher, programs.checker]
        self.server, self.is_slow = programs.server, programs.is_slow
        self.is_emulated = bool(programs.launcher)
        self.runs = 0

    def rounds(self, count):
        """How many of a case's variations are tried: a sixth where each takes long."""
        return -(-count // 6) if self.is_emulated or self.is_slow else count

    def __call__(self, *arguments):
        result = Result(self.run("kravi", arguments))
        json_schemas.check_output(self.verbs(), arguments, result.out, result.err)
        if result.code in (0, 1) and arguments[0] in WRITING_VERBS and not {"--help", "--version"} & set(arguments):
            place = arguments.index("-o") + 1 if "-o" in arguments else WRITING_VERBS[arguments[0]]
            problems = self.problems(arguments[place], is_copy(arguments))
            if problems and arguments[0] == "recover":  # without whole headers it writes a recording
                problems = self.problems(arguments[place])
            check(not problems, f"written: {arguments}: {problems}")
        return result

    def run(self, program, arguments):
        self.runs += 1
        if self.server and not (self.is_emulated and self.runs == 1):  # there the server is not the program itself
            return self.its_server().run(self.folder, program, arguments, TIMEOUT)
        command = self.command if program == "kravi" else self.checker
        done = self.started([*command, *arguments])
        if self.is_emulated and done.returncode == 1 and not done.stdout + done.stderr:
            return self.started([*command, *arguments])  # the emulator did not start it: neither ends silently with 1
        return done

    def its_server(self):
        key = os.getpid(), self.server
        if key not in SERVERS:
            SERVERS[key] = kravi_server.Server([*self.command[:-1], self.server], "Z:" if self.is_emulated else "")
        return SERVERS[key]

    def started(self, command):
        return subprocess.run(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=TIMEOUT, check=False)

    def verbs(self):
        """The verbs of --help, each with the arguments that follow its options."""
        key = tuple(self.command)
        if key not in VERBS:
            page = subprocess.run([*self.command, "man"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  timeout=TIMEOUT, check=True).stdout.decode("utf-8")
            synopsis = page[page.index(".SH SYNOPSIS"):page.index(".SH DESCRIPTION")]
            usages = re.findall(r"^kravi (\S+) \[OPTIONS\]((?: \\-\S+ \S+)*)(.*)$", synopsis, re.MULTILINE)
            VERBS[key] = {verb: arguments.split() for verb, _, arguments in usages}
        return VERBS[key]

    def problems(self, name, is_copied=False):
        """The errors in a file that kravi wrote, byte by byte: one of the recorder's layout, or a copy."""
        if not name.isascii() or len(name) > 200:  # names are tested with kravi, not with the checker
            shutil.copyfile(self.path(name), self.path("checked.avi"))
            problems = self.problems("checked.avi", is_copied)
            self.remove("checked.avi")
            return problems
        done = self.run("check", [*(["--copy"] if is_copied else []), name])
        text = done.stdout.decode("utf-8")
        equal(done.returncode, 1 if text else 0, "exit code of the checker")
        return text

    def start(self, *arguments, stderr=subprocess.PIPE):
        return subprocess.Popen([*self.command, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=stderr)

    def interrupted(self, *arguments):
        """A run under an emulator, which gets Ctrl-C as soon as it has a temporary file."""
        sender = os.path.join(os.path.dirname(self.checker[-1]), "KrInterrupt.exe")
        done = subprocess.run([*self.command[:-1], sender, self.command[-1], *arguments], cwd=self.folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT,
                              check=False)
        return Result(done)

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


def is_copy(arguments):
    """Whether a verb with these arguments may write the copier's layout."""
    return arguments[0] in COPYING_VERBS and "recording" not in arguments and not HEADER_OPTIONS & set(arguments)


def said_on(terminal):
    """The output of a program to the other end of a pseudo terminal until it ends; closes our end."""
    said = b""
    try:
        while True:
            said += os.read(terminal, 4096)
    except OSError:
        pass  # the other end is closed
    os.close(terminal)
    return said.decode("utf-8", "replace")


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


class Programs:
    """kravi, the checker, what both are started by, and the server that can run both, or nothing.

    They are slow when a sanitizer watches them.
    """

    def __init__(self, kravi, checker, launcher=(), server=None, is_slow=False):
        self.kravi, self.checker, self.launcher = kravi, checker, launcher
        self.server, self.is_slow = server, is_slow


def run_case(module, name, programs):
    """Runs one function; returns the report of its failure, or nothing, and the number of validated objects."""
    before = sum(json_schemas.validated.values())
    folder = tempfile.mkdtemp(prefix="kravi-test-")
    report = ""
    try:
        getattr(sys.modules[module], name)(Kravi(programs, folder))
    except Exception:  # any error fails this case alone
        report = f"FAILED {module}.{name}\n{traceback.format_exc()}"
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return report, sum(json_schemas.validated.values()) - before


def run_cases(modules, programs, jobs):
    """Runs every function whose name starts with test_, each in its own process, several at a time.

    Returns how many passed and failed, and how many JSON objects were validated.
    """
    names = [(module.__name__, name) for module in modules
             for name, case in sorted(vars(module).items()) if name.startswith("test_") and callable(case)]
    failed = held = 0
    with concurrent.futures.ProcessPoolExecutor(jobs, multiprocessing.get_context("fork")) as pool:
        running = [pool.submit(run_case, *name, programs) for name in names]
        for report, objects in (case.result() for case in running):
            held += objects
            failed += bool(report)
            print(report, end="", file=sys.stderr, flush=True)
    return len(names) - failed, failed, held
