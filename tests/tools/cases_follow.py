"""kravi follow and extract --follow: recordings under way, of our own recorder and of programs without an index."""

import json
import os
import signal
import struct
import subprocess
import time

import avi_builder as avi
import json_schemas
from cases_interruption import at_work, interrupted
from kravi_runner import check, equal, exit_code

FRAMES_PER_SECOND = 50
ABANDONED = ("the recording was abandoned: nobody writes it any more, and it is not complete; kravi recover makes it a "
             "complete file")


def record(kravi, name, seconds, *arguments):
    """A recorder in real time, which is killed at the end or, with "close", closes the file."""
    recorder = os.path.join(os.path.dirname(kravi.command[-1]), "KrRecordUntilKilled" + (".exe" if kravi.is_emulated else ""))
    process = subprocess.Popen([*kravi.command[:-1], recorder, name, str(int(seconds * 1000)), *arguments], cwd=kravi.folder,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    check(process.stdout.readline().startswith(b"recording"), "the recording did not start")
    return process


def lines(kravi, process, arguments, code):
    """The moments of a follower, and its report."""
    out, err = (text.decode() for text in process.communicate(timeout=60))
    equal(process.returncode, code, f"exit code of {arguments}: {out}{err}")
    json_schemas.check_output(kravi.verbs(), arguments, out, err)
    objects = [json.loads(line) for line in out.splitlines()]
    return [line["moment"] for line in objects[:-1]], objects[-1]


def follow(kravi, *arguments):
    arguments = ("follow", *arguments, "--json")
    return kravi.start(*arguments), arguments


def extracted(kravi, *arguments, code=0):
    return exit_code(kravi("extract", *arguments, "--json"), code).json()


def test_recording_that_is_completed(kravi):
    recorder = record(kravi, "a.avi", 2.3, "close")
    following = follow(kravi, "a.avi")
    waiting = follow(kravi, "a.avi", "--until-frame", "20")
    writing = kravi.start("extract", "a.avi", "--follow", "--video", "f%03d", "--audio", "a.wav", "--json")
    _, report = lines(kravi, *waiting, 0)
    equal((report["state"], report["findings"]), ("being written", []), "the recording when frame 20 is there")
    check(FRAMES_PER_SECOND <= report["frames"] <= 2 * FRAMES_PER_SECOND, str(report))
    check(recorder.poll() is None or kravi.is_emulated, "frame 20 comes long before the end")
    while not os.path.exists(kravi.path("f020")):
        check(recorder.poll() is None or kravi.is_emulated, "frame 20 is written long before the end")
        time.sleep(0.01)
    moments, report = lines(kravi, *following, 0)
    recorder.wait(timeout=30)
    frames = len(extracted(kravi, "a.avi", "--video", "g%03d", "--audio", "b.wav") and
                 [name for name in kravi.names() if name.startswith("g")])
    equal((report["state"], report["frames"], report["findings"]), ("complete", frames, []), "the recording at its end")
    equal(report["bytes"], os.path.getsize(kravi.path("a.avi")), "length")
    equal(report["seconds"], round(frames / FRAMES_PER_SECOND + 1e-9, 1), "duration")
    check(len(moments) >= 3 and all(0 <= moment["lagSeconds"] < 30 for moment in moments), str(moments))
    counts = [moment["frames"] for moment in moments]
    check(counts == sorted(counts) and counts[0] < counts[-1] == frames, str(counts))
    last = moments[-1]
    equal(last["soundSeconds"], last["seconds"], "sound")
    total = sum(stream["bytes"] for stream in kravi("hash", "a.avi", "--json").json()["streams"])
    check(abs(last["bytesPerSecond"] - total * FRAMES_PER_SECOND / frames) <= 1, f"{last}, {total} bytes in all")

    out, err = writing.communicate(timeout=30)
    equal((writing.returncode, err), (0, b""), "end of extract")
    result = json.loads(out)
    equal((result["state"], result["video"]["frames"], result["video"]["source"]), ("complete", frames, "index"), "extract")
    for number in range(frames):
        equal(kravi.read(f"f{number:03}"), kravi.read(f"g{number:03}"), f"frame {number}")
    equal(kravi.read("a.wav"), kravi.read("b.wav"), "sound")


def test_recording_that_is_killed(kravi):
    if kravi.is_emulated:
        return
    recorder = record(kravi, "a.avi", 1.7)
    following = follow(kravi, "a.avi")
    part = kravi.start("extract", "a.avi", "--follow", "--video", "part", "--audio", "part.wav", "--from", "5", "--to", "14", "--json")
    writing = kravi.start("extract", "a.avi", "--follow", "--video", "all", "--to", "999", "--json")
    out, _ = part.communicate(timeout=30)
    equal((part.returncode, json.loads(out)["state"], recorder.poll()), (0, "being written", None), "a range is there")
    moments, report = lines(kravi, *following, 1)
    equal(recorder.wait(timeout=10), -signal.SIGKILL, "end of the recorder")
    equal((report["state"], report["findings"]), ("abandoned", [ABANDONED]), "the recording")
    check(moments[-1]["lagSeconds"] > 2, f"the lag grows once nothing comes: {moments[-1]}")
    result = json.loads(writing.communicate(timeout=30)[0])
    equal(writing.returncode, 1, "exit code of extract")
    equal((result["state"], result["findings"]), ("abandoned", ["the recording ended before frame 999", ABANDONED]), "extract")
    equal(result["video"]["frames"], report["frames"], "frames")
    extracted(kravi, "a.avi", "--video", "again", "--audio", "again.wav", "--from", "5", "--to", "14")
    equal(kravi.read("part"), kravi.read("again"), "frames of the range")
    equal(kravi.read("part.wav"), kravi.read("again.wav"), "sound of the range")


def test_file_that_is_complete(kravi):
    streams = avi.standard_streams(30)
    kravi.write("clip.avi", avi.simple_avi(streams))
    moments, report = lines(kravi, *follow(kravi, "clip.avi"), 0)
    equal([(moment["frames"], moment["soundSeconds"], moment["seconds"]) for moment in moments], [(30, 1.2, 1.2)], "one line")
    equal((report["state"], report["frames"]), ("complete", 30), "report")
    shown = exit_code(kravi("follow", "clip.avi"), 0).out.split("\n")
    equal(shown[0].split(), ["frames", "sound", "duration", "MB/s", "lag"], "heading")
    equal(shown[1].split()[:4], ["30", "1.2", "1.2", "0.2"], "line")
    equal([line.split() for line in shown[2:4]], [["file", "clip.avi"], ["state", "complete"]], "report in text")
    lines(kravi, *follow(kravi, "clip.avi", "--until-frame", "29"), 0)
    _, report = lines(kravi, *follow(kravi, "clip.avi", "--until-frame", "30"), 1)
    equal(report["findings"], ["the recording ended before frame 30"], "findings")
    extracted(kravi, "clip.avi", "--follow", "--video", "f%d", "--from", "28")
    equal([kravi.read("f28"), kravi.read("f29")], streams[0].chunks[28:], "frames")
    result = extracted(kravi, "clip.avi", "--follow", "--video", "none", "--from", "30", code=1)
    equal(result["findings"], ["video stream 0 has no frames from 30 on"], "no frames")
    equal(extracted(kravi, "clip.avi", "--follow", "--video", "f%d", "--from", "28", code=2)["error"]["cause"],
          "it exists already; --force replaces it", "existing frame")


def test_files_that_cannot_be_followed(kravi):
    kravi.write("text.txt", b"no AVI file\n" * 1000)
    for name, cause in (("missing.avi", "there is no such file"), ("text.txt", "no AVI header at the start"), (".", "it is a folder")):
        for verb in (("follow", name), ("extract", name, "--follow", "--video", "v")):
            said = exit_code(kravi(*verb, "--json"), 2)
            check(json.loads(said.out)["error"]["cause"].startswith(cause), f"{verb}: {said}")
    equal(kravi.names(), ["text.txt"], "files")


def other_recorder(kravi, name, streams, data):
    """Writes a file as other programs do: without sizes and index at first. Yields after each piece."""
    movi = data.index(b"movi")
    unfinished = bytearray(data)
    for position in (4, movi - 4):
        struct.pack_into("<I", unfinished, position, 0)
    with open(kravi.path(name), "wb") as file:
        file.write(unfinished[:streams[0].positions[0] - 8])
        for stream in streams:
            for position, chunk in zip(stream.positions, stream.chunks):
                file.write(unfinished[position - 8:position + len(chunk) + len(chunk) % 2])
                file.flush()
                yield file


def test_recording_without_an_index(kravi):
    if kravi.is_emulated:
        return
    streams = avi.standard_streams(12, audio=0)
    data = avi.simple_avi(streams)
    recording = other_recorder(kravi, "a.avi", streams, data)
    next(recording)
    following = follow(kravi, "a.avi")
    writing = kravi.start("extract", "a.avi", "--follow", "--video", "f%02d", "--json")
    for file in recording:
        time.sleep(0.1)
        length = file.tell()
    file = open(kravi.path("a.avi"), "r+b")
    file.write(data)
    file.close()
    moments, report = lines(kravi, *following, 0)
    equal((moments[0]["frames"], moments[0]["seconds"]), (None, None), "without an index")
    check(moments[0]["bytes"] < length, str(moments))
    equal((report["state"], report["frames"]), ("complete", 12), "at the end")
    result = json.loads(writing.communicate(timeout=30)[0])
    equal((result["state"], result["video"]["source"]), ("complete", "index"), "extract")
    equal([kravi.read(f"f{number:02}") for number in range(12)], streams[0].chunks, "frames")


def test_recording_without_an_index_that_is_abandoned(kravi):
    if kravi.is_emulated:
        return
    streams = avi.standard_streams(3, audio=0)
    for _ in other_recorder(kravi, "a.avi", streams, avi.simple_avi(streams)):
        pass
    writing = kravi.start("extract", "a.avi", "--follow", "--video", "f%d", "--json")
    moments, report = lines(kravi, *follow(kravi, "a.avi"), 1)
    equal((report["state"], report["frames"], report["findings"]), ("abandoned", None, [ABANDONED]), "report")
    check(2 <= moments[-1]["lagSeconds"] < 30, str(moments))
    result = json.loads(writing.communicate(timeout=30)[0])
    equal(writing.returncode, 1, "exit code of extract")
    equal((result["video"]["source"], result["findings"]), ("chunk search", [ABANDONED]), "extract")
    equal([kravi.read(f"f{number}") for number in range(3)], streams[0].chunks, "frames")


def test_ctrl_c(kravi):
    if kravi.is_emulated:
        return
    recorder = record(kravi, "a.avi", 3)
    try:
        interrupted(kravi, signal.SIGINT, at_work(), "follow", "a.avi", "--json")
        interrupted(kravi, signal.SIGTERM, at_work(), "extract", "a.avi", "--follow", "--video", "all", "--json")
    finally:
        recorder.kill()
        recorder.wait(timeout=10)
