"""Ctrl-C: every long-running verb ends soon, reports it, and leaves nothing half done."""

import os
import signal
import struct
import subprocess
import time

import avi_builder as avi
from cases_progress import slow_file
from cases_write import jpegs
from kravi_runner import check, equal

END = b"kravi: interrupted\n"
LARGE = 3 << 30


def endless_file(kravi, is_whole=True):
    """Its one frame, or what follows the frame that is cut, is more than a gigabyte of holes."""
    data = avi.simple_avi([avi.video([b"x" * 100])], idx1=False)
    position = data.rindex(b"00dc")
    kravi.write("endless.avi", avi.stretched(data, position, LARGE) if is_whole else
                data[:position + 4] + struct.pack("<I", LARGE))
    os.truncate(kravi.path("endless.avi"), LARGE)
    return "endless.avi"


def raw_frames(kravi, name="endless.raw"):
    """3 GB of raw pictures, stored as one sparse file."""
    kravi.write(name, b"")
    os.truncate(kravi.path(name), 1000 * 3000000)
    return name


def interrupted(kravi, number, started, *arguments):
    """Starts a verb, sends the signal once `started` returns true, and checks how it ends."""
    before = kravi.names()
    process = kravi.start(*arguments)
    deadline = time.monotonic() + 30
    while not started(process):
        check(process.poll() is None and time.monotonic() < deadline, f"{arguments[0]} ended too early or never began")
        time.sleep(0.005)
    process.send_signal(number)
    asked = time.monotonic()
    out, err = process.communicate(timeout=30)
    check(time.monotonic() - asked < 5, f"{arguments[0]} took {time.monotonic() - asked:.1f} s to end")
    equal((process.returncode, err[-len(END):]), (2, END), f"end of {arguments[0]}")
    check(b'"error"' in out or "--json" not in arguments, f"object of {arguments[0]}: {out[-200:]}")
    equal(kravi.names(), before, f"files after {arguments[0]}")


def catching(process):
    """Whether the program has its handler; before, a signal would end it silently."""
    try:
        with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
            caught = next(line for line in file if line.startswith("SigCgt:")).split()[1]
    except (OSError, StopIteration):
        return False  # it has ended
    return bool(int(caught, 16) >> (signal.SIGINT - 1) & 1)


def at_work():
    """Some time after the program installs its handler."""
    since = []

    def started(process):
        if not since and catching(process):
            since.append(time.monotonic())
        return since and time.monotonic() > since[0] + 0.4
    return started


def temporary_file(kravi):
    return lambda process: any(name.endswith(".tmp") for name in kravi.names())


def test_verbs_that_read(kravi):
    if kravi.is_emulated:
        return  # the emulator would get the signal instead
    name = slow_file(kravi, 18000000)
    interrupted(kravi, signal.SIGINT, at_work(), "tree", name, "--limit", "100000000", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "extract", name, "--video", "v%d", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "rewrap", name, "out.avi", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "cut", name, "out.avi", "--from", "1", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "concat", name, name, "-o", "out.avi", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "verify", name, "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "map", name, "-o", "out.svg", "--json")
    interrupted(kravi, signal.SIGINT, at_work(), "hash", name, "--frames", "--json")
    name = slow_file(kravi, 18000000, idx1=True)
    interrupted(kravi, signal.SIGINT, at_work(), "index", name, "--check", "--json")
    name = endless_file(kravi)
    interrupted(kravi, signal.SIGINT, at_work(), "hash", name, "--json")
    kravi.write("few.avi", avi.simple_avi(avi.standard_streams(2)))
    interrupted(kravi, signal.SIGINT, at_work(), "hash", "few.avi", "--compare", name, "--json")


def test_verbs_that_write(kravi):
    if kravi.is_emulated:
        return
    raw = raw_frames(kravi)
    write = ("write", "out.avi", "--raw", raw, "--size", "1000x1000", "--json")
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
        interrupted(kravi, number, temporary_file(kravi), *write)
    kravi.write("out.avi", b"precious")
    interrupted(kravi, signal.SIGINT, temporary_file(kravi), *write, "--force")
    equal(kravi.read("out.avi"), b"precious", "the file that was to be replaced")
    kravi.remove("out.avi")
    name = large_recording(kravi)
    for verb in ("rewrap", "recover", "cut"):
        interrupted(kravi, signal.SIGINT, temporary_file(kravi), verb, name, "out.avi")
    interrupted(kravi, signal.SIGINT, temporary_file(kravi), "concat", name, name, "-o", "out.avi")
    interrupted(kravi, signal.SIGINT, temporary_file(kravi), "extract", name, "--video", "all.raw")
    interrupted(kravi, signal.SIGINT, at_work(), "recover", endless_file(kravi, is_whole=False), "out.avi")


def test_ctrl_c_on_windows(kravi):
    if not kravi.is_emulated:
        return
    runs = [("write", "out.avi", "--raw", raw_frames(kravi), "--size", "1000x1000"),
            *((verb, large_recording(kravi), "out.avi") for verb in ("rewrap", "recover", "cut")),
            ("concat", large_recording(kravi), large_recording(kravi), "-o", "out.avi"),
            ("extract", large_recording(kravi), "--video", "all.raw")]
    before = kravi.names()
    for arguments in runs:
        result = kravi.interrupted(*arguments, "--json")
        equal((result.code, result.err), (2, END.decode()), f"end of {arguments[0]}")
        equal(result.json()["error"]["cause"], "interrupted", f"object of {arguments[0]}")
        equal(kravi.names(), before, f"files after {arguments[0]}")
    # It is the signal that ends it: an uninterrupted run writes its file.
    kravi.write("few.raw", bytes(3 * 3000000))
    equal(kravi("write", "out.avi", "--raw", "few.raw", "--size", "1000x1000").code, 0, "a run of its own")


def large_recording(kravi):
    """800 frames of 2.5 MB, of which only the chunk headers are on the disk."""
    size, frames = 2500000, 800
    head = avi.simple_avi([avi.video([b""])], idx1=False)
    head = head[:head.index(b"movi") + 4]
    with open(kravi.path("large.avi"), "wb") as file:
        file.write(head)
        for number in range(frames):
            file.seek(len(head) + number * (size + 8))
            file.write(b"00dc" + struct.pack("<I", size))
        file.truncate(len(head) + frames * (size + 8))
    with open(kravi.path("large.avi"), "r+b") as file:
        file.seek(4)
        file.write(struct.pack("<I", len(head) + frames * (size + 8) - 8))
        file.seek(len(head) - 8)
        file.write(struct.pack("<I", 4 + frames * (size + 8)))
    return "large.avi"


def test_files_do_not_take_closed_standard_streams(kravi):
    """What is meant for a stream that the caller closed would end up in the new file."""
    if kravi.is_emulated:
        return
    name = large_recording(kravi)
    process = subprocess.Popen(["sh", "-c", 'exec "$@" 0<&- 1>&- 2>&-', "sh", *kravi.command, "rewrap", name, "out.avi"], cwd=kravi.folder)
    deadline = time.monotonic() + 30
    while not temporary_file(kravi)(process):
        check(process.poll() is None and time.monotonic() < deadline, "it ended too early or never began")
        time.sleep(0.005)
    process.send_signal(signal.SIGSTOP)
    streams = [os.readlink(f"/proc/{process.pid}/fd/{number}") for number in range(3)]
    process.send_signal(signal.SIGTERM)
    process.send_signal(signal.SIGCONT)
    equal((process.wait(timeout=30), streams), (2, ["/dev/null"] * 3), "exit code, and what the streams are")


def test_limit_for_files_ends_a_run_with_its_error(kravi):
    if kravi.is_emulated:
        return
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(30)))
    frames = jpegs(kravi, 200)
    before = kravi.names()
    for arguments in (("rewrap", "in.avi", "out.avi"), ("recover", "in.avi", "out.avi"), ("write", "out.avi", "--jpeg", "f%03d.jpg"),
                      ("extract", "in.avi", "--audio", "all.wav")):
        done = subprocess.run(["sh", "-c", 'ulimit -f 40; exec "$@"', "sh", *kravi.command, *arguments], cwd=kravi.folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=False)
        check(done.returncode == 2 and done.stderr.startswith(b"kravi: "), f"{arguments[0]}: {done}")
        equal(kravi.names(), before, f"{arguments[0]}: files")


def test_ignored_interruption_stays_ignored(kravi):
    """A run under nohup is not ended by a signal that the shell made it ignore."""
    if kravi.is_emulated:
        return
    frames = jpegs(kravi, 3)
    before = signal.signal(signal.SIGHUP, signal.SIG_IGN)
    try:
        process = kravi.start("write", "out.avi", "--jpeg", "f%03d.jpg")
        process.send_signal(signal.SIGHUP)
        process.communicate(timeout=30)
    finally:
        signal.signal(signal.SIGHUP, before)
    equal((process.returncode, "out.avi" in kravi.names(), len(frames)), (0, True, 3), "end")
