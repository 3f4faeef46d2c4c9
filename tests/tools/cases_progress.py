"""Progress: a line on a terminal, objects on request, nothing else."""

import json
import os
import re
import time

import avi_builder as avi
from kravi_runner import check, equal, exit_code, said_on

LINE = re.compile(r"(\w+): ([a-z ]+?) ([\d.]+)(?: of ([\d.]+))? (MB|chunks|frames|items)"
                  r"(?:, ([\d.]+) (?:MB|chunks|frames|items)/s(?:, ([\d:]+) (s|min|h) left)?)?$")


MOST_CHUNKS = 150000000
INDEXES = [("checking indexes", "bytes", "clip.avi")]  # which copies do first


def slow_file(kravi, chunks, idx1=False):
    """A file with so many chunks that listing them takes time. Its index, if any, has only the first."""
    check(chunks <= MOST_CHUNKS, f"{chunks} chunks are no work for kravi")
    kravi.write("many.avi", avi.simple_avi([avi.video([b"x"])], idx1=idx1)
                + avi.chunk(b"RIFF", b"AVIX" + avi.chunk(b"LIST", b"movi" + b"00dc\2\0\0\0ab" * chunks)))
    return "many.avi"


def on_terminal(kravi, *arguments):
    """The lines that overwrite one another on a terminal, and the other output."""
    import pty
    ours, theirs = pty.openpty()
    process = kravi.start(*arguments, stderr=theirs)
    os.close(theirs)
    shown = said_on(ours)
    process.communicate(timeout=60)
    return shown, process.returncode


def seconds_of(text, unit):
    parts = [int(part) for part in text.split(":")]
    whole = parts[0] if len(parts) == 1 else parts[0] * 60 + parts[1]
    return whole * 60 if unit == "h" else whole


def test_line_on_a_terminal(kravi):
    if kravi.is_emulated:
        return
    chunks, timed, seconds = 9000000, [], 0
    while not timed:  # on a machine of any speed some file takes more than a second
        check(seconds < 10, f"{seconds} s, and no line tells the time left")
        name = slow_file(kravi, chunks)
        chunks *= 2
        start = time.monotonic()
        shown, code = on_terminal(kravi, "tree", name, "--limit", str(2 * MOST_CHUNKS))
        seconds = time.monotonic() - start
        equal(code, 0, "exit code")
        lines = [line.strip() for line in shown.split("\r") if line.strip()]
        matches = [LINE.match(line) for line in lines]
        check(all(matches), f"lines: {lines}")
        told = [match for match in matches if match.group(2) == "reading"]
        timed = [match for match in told if match.group(7)]
    check(len(lines) >= 3, f"lines: {lines}")
    total = f"{os.path.getsize(kravi.path(name)) / 1e6:.1f}"
    check(all(match.group(4) == total and match.group(5) == "MB" for match in told), f"{total}: {lines}")
    done = [float(match.group(3)) for match in told]
    equal(done, sorted(done), "amounts")
    for match in timed:
        left = (float(total) - float(match.group(3))) / float(match.group(6))
        check(abs(seconds_of(*match.group(7, 8)) - left) <= 1 + left / 5, f"time left: {match.group(0)}")
    check(shown.endswith("\r") and shown.split("\r")[-2].strip() == "", "the last line is erased")


def test_lines_of_json(kravi):
    streams = avi.standard_streams(3)
    kravi.write("clip.avi", avi.simple_avi(streams))
    runs = ((("tree", "clip.avi"), [("reading", "bytes", os.path.getsize(kravi.path("clip.avi")))]),
            (("extract", "clip.avi", "--video", "v", "--audio", "a.wav"),
             [("writing video", "frames", 3), ("writing audio", "bytes", 3 * 7680)]),
            (("index", "clip.avi", "--video", "--from", "1"), [("printing video", "chunks", 2)]),
            (("rewrap", "clip.avi", "out.avi"), [*INDEXES, ("writing", "bytes", "out.avi")]),
            (("rewrap", "clip.avi", "recording.avi", "--layout", "recording"), [("writing", "frames", 3)]),
            (("cut", "clip.avi", "part.avi", "--from", "1"), [*INDEXES, ("writing", "bytes", "part.avi")]),
            (("concat", "clip.avi", "clip.avi", "-o", "both.avi"), [*INDEXES, ("writing", "bytes", "both.avi")]),
            (("hash", "clip.avi"), [("reading", "bytes", sum(len(data) for stream in streams for data in stream.chunks))]),
            (("verify", "clip.avi"), [("checking chunks", "bytes", os.path.getsize(kravi.path("clip.avi")))]),
            (("map", "clip.avi", "-o", "map.svg"), [("measuring", "bytes", os.path.getsize(kravi.path("clip.avi")))]))
    for arguments, wanted in runs:
        result = exit_code(kravi(*arguments, "--progress", "json"), 0)
        lines = [json.loads(line)["progress"] for line in result.err.splitlines()]
        last = {line["step"]: line for line in lines}
        got = [(line["step"], line["unit"], line["total"]) for line in last.values() if line["step"] != "reading headers"]
        wanted = [(step, unit, os.path.getsize(kravi.path(total)) if isinstance(total, str) else total)
                  for step, unit, total in wanted]
        equal(got, wanted, f"steps of {arguments}")
        for line in last.values():
            equal(line["verb"], arguments[0], "verb")
            check(line["step"] == "reading headers" or line["done"] == line["total"], f"end: {line}")
            check(line["perSecond"] >= 0 and line["secondsLeft"] in (0, None), f"rate: {line}")


def test_lines_while_it_runs(kravi):
    if kravi.is_emulated:
        return
    chunks, middle = 3000000, []
    while not middle:  # on a machine of any speed some file takes more than an interval
        name = slow_file(kravi, chunks)
        chunks *= 2
        result = exit_code(kravi("tree", name, "--progress", "json", "--limit", str(2 * MOST_CHUNKS)), 0)
        lines = [json.loads(line)["progress"] for line in result.err.splitlines()]
        told = [line for line in lines if line["step"] == "reading"]
        middle = [line for line in told if 0 < line["done"] < line["total"]]
        check(middle or told[-1]["done"] / told[-1]["perSecond"] < 1, f"a second without a line: {told}")
    for line in middle:
        left = (line["total"] - line["done"]) / line["perSecond"]
        check(abs(line["secondsLeft"] - left) < 0.2 and line["perSecond"] > 1000, f"{line}")
