"""write and rewrap: content is stored unchanged, and unsupported content is refused."""

import json
import os
import re
import signal
import struct
import subprocess

import avi_builder as avi
from cases_extract import wave_chunks
from cases_progress import on_terminal
from kravi_runner import check, equal, exit_code

try:
    import resource
except ImportError:
    resource = None  # only POSIX has it


def jpeg(number, width=64, height=48, size=300):
    """The parts of a JPEG file that kravi reads: markers up to the frame header, for its size."""
    head = b"\xff\xd8" + b"\xff\xe0" + struct.pack(">H", 4) + b"\0\0"
    head += b"\xff\xc0" + struct.pack(">HBHHB", 11, 8, height, width, 1) + b"\1\x11\0"
    return head + avi.payload(number, size) + b"\xff\xd9"


def wave(data, fmt=None, large=False):
    fmt = fmt or avi.pcm_format()
    if not large:
        body = b"WAVE" + avi.chunk(b"fmt ", fmt) + avi.chunk(b"LIST", b"INFOx") + avi.chunk(b"data", data)
        return b"RIFF" + struct.pack("<I", len(body)) + body
    sizes = avi.chunk(b"ds64", struct.pack("<QQQI", 0, len(data), 0, 0))
    return (b"RF64\xff\xff\xff\xffWAVE" + sizes + avi.chunk(b"fmt ", fmt) + b"data\xff\xff\xff\xff" + data)


def jpegs(kravi, count, first=0):
    frames = [jpeg(number, size=300 + number) for number in range(count)]
    for number, data in enumerate(frames):
        kravi.write(f"f{number + first:03d}.jpg", data)
    return frames


def sound(frames, bytes_per_frame=1920 * 4):
    return avi.payload(5, frames * bytes_per_frame)


def written(kravi, *arguments, code=0):
    return exit_code(kravi("write", "out.avi", *arguments, "--json"), code).json()


def taken_apart(kravi, name="out.avi", audio=True):
    """Frames and sound of a file, each as one block."""
    options = ["--audio", "sound.wav"] if audio else []
    exit_code(kravi("extract", name, "--video", "all", *options, "--force"), 0)
    return kravi.read("all"), wave_chunks(kravi.read("sound.wav"))[b"data"] if audio else None


def timeless(data):
    """A written file without its measured data rate, the only value that depends on the worker's timing."""
    return data[:36] + bytes(4) + data[40:]


def refused(kravi, words, *arguments):
    """The verb fails with a message and leaves nothing behind."""
    before = kravi.names()
    result = exit_code(kravi(*arguments, "--json"), 2)
    check(words in json.dumps(result.json()["error"]), f"{words}: {result}")
    equal(kravi.names(), before, "files")


def test_jpegs_and_sound(kravi):
    frames = jpegs(kravi, 30)
    data = sound(30)
    kravi.write("in.wav", wave(data))
    report = written(kravi, "--jpeg", "f%03d.jpg", "--audio", "in.wav", "--scan", "upper", "--display-width", "128")
    equal((report["frames"], report["sampleFrames"], report["codec"]), (30, 30 * 1920, "MJPG"), "report")
    equal(taken_apart(kravi), (b"".join(frames), data), "content")
    info = exit_code(kravi("info", "out.avi", "--json"), 0).json()
    equal(info["privateChunks"][0]["scanMode"]["value"], 0, "scan mode")
    check("2:1" in exit_code(kravi("info", "out.avi", "--full"), 0).out, "pixel aspect")


def test_tree_of_frames_of_odd_size(kravi):
    frames = jpegs(kravi, 12)
    check(any(len(frame) % 2 for frame in frames), "a frame of odd size, which filler follows without padding")
    written(kravi, "--jpeg", "f%03d.jpg")
    tree = exit_code(kravi("tree", "out.avi", "--all", "--json"), 0).json()
    chunks = [row for row in tree["chunks"] if row["level"] == 2]
    equal([row["size"] for row in chunks if row["id"] == "00dc"], [len(frame) for frame in frames], "frames")
    inside = [row for row in chunks if row["position"] > next(row["position"] for row in chunks if row["id"] == "00dc")]
    for row, following in zip(inside, inside[1:]):
        check(0 <= following["position"] - row["position"] - 8 - row["size"] <= 1, f"{row} and {following}")
    equal({row["id"] for row in inside}, {"00dc", "JUNK"}, "ids")


def test_checker_sees_damage(kravi):
    """The checker of the written files does detect errors."""
    jpegs(kravi, 3)
    written(kravi, "--jpeg", "f%03d.jpg")
    data = bytearray(kravi.read("out.avi"))
    data[data.rindex(b"idx1") + 24] ^= 0x10
    kravi.write("damaged.avi", data)
    equal((kravi.problems("out.avi"), kravi.problems("damaged.avi") != ""), ("", True), "problems")


def test_numbers_may_start_anywhere(kravi):
    frames = jpegs(kravi, 3, first=1)
    equal(written(kravi, "--jpeg", "f%03d.jpg")["frames"], 3, "from 1")
    equal(taken_apart(kravi, audio=False)[0], b"".join(frames), "frames")
    equal(written(kravi, "--jpeg", "f%03d.jpg", "--start", "3", "--force")["frames"], 1, "from 3")


def test_sound_of_another_length(kravi):
    frames = jpegs(kravi, 40)
    for seconds in (0.2, 3):
        data = avi.payload(9, int(48000 * seconds) * 4)
        kravi.write("in.wav", wave(data))
        written(kravi, "--jpeg", "f%03d.jpg", "--audio", "in.wav", "--rate", "29.97", "--force")
        equal(taken_apart(kravi), (b"".join(frames), data), f"{seconds} seconds")


def test_large_wave_header(kravi):
    jpegs(kravi, 2)
    data = sound(2)
    kravi.write("in.wav", wave(data, large=True))
    written(kravi, "--jpeg", "f%03d.jpg", "--audio", "in.wav")
    equal(taken_apart(kravi)[1], data, "sound")


def test_raw_rows(kravi):
    width, height, frames = 5, 3, 4
    for bits in (16, 24, 32):
        row = width * bits // 8
        for stride in (row, row + 7):
            for rows in ("top-down", "bottom-up"):
                raw, expected = b"", b""
                for number in range(frames):
                    lines = [avi.payload(number * height + line, row) for line in range(height)]
                    raw += b"".join(line.ljust(stride, b"#") for line in lines)
                    stored = lines[::-1] if rows == "top-down" else lines
                    expected += b"".join(line.ljust((row + 3) // 4 * 4, b"\0") for line in stored)
                kravi.write("in.raw", raw)
                written(kravi, "--raw", "in.raw", "--size", f"{width}x{height}", "--bits", str(bits), "--stride",
                        str(stride), "--rows", rows, "--force")
                equal(taken_apart(kravi, audio=False)[0], expected, f"{bits} bits, stride {stride}, {rows}")


def test_raw_frames_as_they_are(kravi):
    frames = [avi.payload(number, 8 * 6 * 2) for number in range(3)]
    for number, data in enumerate(frames):
        kravi.write(f"r{number}.yuv", data)
    report = written(kravi, "--raw", "r%d.yuv", "--size", "8x6", "--bits", "16", "--codec", "UYVY", "--rate", "60")
    equal((report["codec"], report["frameRate"]), ("UYVY", "60"), "report")
    equal(taken_apart(kravi, audio=False)[0], b"".join(frames), "frames")


def test_write_refuses(kravi):
    jpegs(kravi, 2)
    kravi.write("other.jpg", jpeg(1, width=32))
    kravi.write("x0.jpg", jpeg(0))
    kravi.write("x1.jpg", jpeg(1, width=32))
    kravi.write("text.jpg", b"no picture at all")
    kravi.write("cut.jpg", jpeg(1)[:10])
    kravi.write("in.raw", bytes(100))
    kravi.write("float.wav", wave(bytes(80), struct.pack("<HHIIHH", 3, 1, 48000, 192000, 4, 32)))
    kravi.write("text.wav", b"no sound at all")
    kravi.write("there.avi", b"x")
    write = ("write", "out.avi")
    refused(kravi, "--jpeg or --raw", *write)
    refused(kravi, "--jpeg or --raw", *write, "--jpeg", "f%03d.jpg", "--raw", "in.raw")
    refused(kravi, "no such file", *write, "--jpeg", "missing%d.jpg")
    refused(kravi, "picture size differs", *write, "--jpeg", "x%d.jpg")
    for name, value in (("--size", "64x48"), ("--bits", "24"), ("--codec", "MJPG"), ("--stride", "192"), ("--rows", "top-down")):
        refused(kravi, f"{name} applies to raw pictures only", *write, "--jpeg", "f%03d.jpg", name, value)
    refused(kravi, "the name is empty", "write", "", "--jpeg", "f%03d.jpg")
    refused(kravi, "the name is empty", "rewrap", "there.avi", "")
    refused(kravi, "the name is empty", "concat", "there.avi", "-o", "")
    refused(kravi, "not a JPEG", *write, "--jpeg", "text.jpg")
    refused(kravi, "cut.jpg", *write, "--jpeg", "cut.jpg")
    refused(kravi, "needs --size", *write, "--raw", "in.raw")
    refused(kravi, "whole frames", *write, "--raw", "in.raw", "--size", "7x7")
    refused(kravi, "--bits", *write, "--raw", "in.raw", "--size", "5x5", "--bits", "8")
    refused(kravi, "--stride", *write, "--raw", "in.raw", "--size", "5x5", "--stride", "3")
    refused(kravi, "--rows", *write, "--raw", "in.raw", "--size", "5x5", "--rows", "up")
    refused(kravi, "--size", *write, "--raw", "in.raw", "--size", "5")
    refused(kravi, "--codec", *write, "--raw", "in.raw", "--size", "5x5", "--bits", "32", "--codec", "TOOLONG")
    refused(kravi, "--rate", *write, "--jpeg", "f%03d.jpg", "--rate", "26")
    refused(kravi, "--scan: 'odd' is not one of upper, lower, progressive, unknown", *write, "--jpeg", "f%03d.jpg", "--scan", "odd")
    refused(kravi, "--aspect-mode", *write, "--jpeg", "f%03d.jpg", "--aspect-mode", "2")
    refused(kravi, "not PCM", *write, "--jpeg", "f%03d.jpg", "--audio", "float.wav")
    refused(kravi, "no such file", *write, "--jpeg", "f%03d.jpg", "--audio", "missing.wav")
    refused(kravi, "not a WAVE", *write, "--jpeg", "f%03d.jpg", "--audio", "text.wav")
    refused(kravi, "--force", "write", "there.avi", "--jpeg", "f%03d.jpg")
    refused(kravi, "cannot be written", "write", "missing/out.avi", "--jpeg", "f%03d.jpg")


def test_reason_of_the_system(kravi):
    """Where the new file cannot be created, the message has the system's reason."""
    jpegs(kravi, 2)
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(2)))
    for arguments in (("write", "missing/out.avi", "--jpeg", "f%03d.jpg"), ("rewrap", "in.avi", "missing/out.avi")):
        cause = exit_code(kravi(*arguments, "--json"), 2).json()["error"]["cause"]
        check(cause.startswith("it cannot be written: ") and len(cause) > 30, cause)
    if kravi.is_emulated or resource is None:
        return
    before = kravi.names()
    for limit in (1000, 60000, 600000):  # as little as a full disk accepts
        done = subprocess.run([*kravi.command, "write", "out.avi", "--jpeg", "f%03d.jpg"], cwd=kravi.folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False,
                              preexec_fn=lambda limit=limit: limit_files(limit))
        check(done.returncode == 0 if limit == 600000 else b"File too large" in done.stderr, f"{limit}: {done}")
        equal([name for name in kravi.names() if name != "out.avi"], before, f"{limit}: files")


def limit_files(size):
    """For a new process: limits the size of its files."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)


def test_rates_have_no_codes(kravi):
    jpegs(kravi, 2)
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(2)))
    for code in range(8):
        refused(kravi, f"'{code}' is not one of 23.976, 24, 25,", "write", "out.avi", "--jpeg", "f%03d.jpg", "--rate", str(code))
    for verb in (("rewrap", "in.avi", "out.avi", "--layout", "recording"), ("recover", "in.avi", "out.avi"),
                 ("concat", "in.avi", "-o", "out.avi", "--layout", "recording")):
        refused(kravi, "'5' is not one of 23.976, 24, 25,", *verb, "--rate", "5")


def test_pictures_that_are_read_are_not_replaced(kravi):
    frames = jpegs(kravi, 12)
    raw = avi.payload(3, 33 * 17 * 3)
    kravi.write("f.bgr", raw)
    os.link(kravi.path("f010.jpg"), kravi.path("other.avi"))  # the same file by another name
    read = "it is the input file"
    for target in ("f000.jpg", "f011.jpg", "./f010.jpg", "other.avi"):
        refused(kravi, read, "write", target, "--jpeg", "f%03d.jpg", "--force")
    refused(kravi, read, "write", "f.bgr", "--raw", "f.bgr", "--size", "33x17", "--force")
    equal([kravi.read(f"f{number:03d}.jpg") for number in range(12)], frames, "pictures")
    check(kravi.read("f.bgr") == raw, "raw pictures")
    written(kravi, "--jpeg", "f%03d.jpg", "--start", "2")
    exit_code(kravi("write", "f001.jpg", "--jpeg", "f%03d.jpg", "--start", "2", "--force"), 0)  # it is not among them


def test_rewrap_of_every_kind_of_file(kravi):
    builders = {"idx1": avi.simple_avi, "odml": avi.open_dml_avi,
                "bare": lambda streams: avi.simple_avi(streams, idx1=False)}
    for kind, build in builders.items():
        streams = avi.standard_streams(30)
        kravi.write(f"{kind}.avi", build(streams))
        report = exit_code(kravi("rewrap", f"{kind}.avi", "out.avi", "--force", "--json"), 0).json()
        equal((report["frames"], report["audioBytes"]), (30, 30 * 1920 * 4), f"{kind}: report")
        content = tuple(b"".join(stream.chunks) for stream in streams)
        equal(taken_apart(kravi), content, f"{kind}: content")
        exit_code(kravi("index", "out.avi", "--check"), 0)
        exit_code(kravi("rewrap", "out.avi", "again.avi", "--force"), 0)
        check(kravi.read("again.avi") == kravi.read("out.avi"), f"{kind}: a second time")
        recording = ("--force", "--layout", "recording")
        exit_code(kravi("rewrap", f"{kind}.avi", "out.avi", *recording), 0)
        equal(taken_apart(kravi), content, f"{kind}: content of a recording")
        exit_code(kravi("rewrap", "out.avi", "again.avi", *recording), 0)
        check(timeless(kravi.read("again.avi")) == timeless(kravi.read("out.avi")), f"{kind}: a second time")


def test_rewrap_keeps_scan_mode_and_aspect(kravi):
    streams = avi.standard_streams(2, audio=0)
    streams[0].fmt = avi.video_format(720, 576)
    kravi.write("in.avi", avi.simple_avi(streams, before_movi=avi.private_chunks(0, 64, 45)))
    exit_code(kravi("rewrap", "in.avi", "out.avi"), 0)
    first = exit_code(kravi("info", "out.avi", "--json"), 0).json()["privateChunks"][0]
    equal(first["scanMode"]["value"], 0, "scan mode")
    check("64:45" in exit_code(kravi("info", "out.avi", "--full"), 0).out, "aspect")


def test_rewrap_refuses_what_the_writer_cannot_carry(kravi):
    def refuse(streams, words, *options):
        kravi.write("in.avi", avi.simple_avi(streams))
        recording = ("rewrap", "in.avi", "out.avi", "--layout", "recording")
        refused(kravi, words, *recording)
        if not options:
            return
        exit_code(kravi(*recording, *options), 1 if "--drop-empty" in options else 0)
        exit_code(kravi("info", "out.avi"), 0)
        equal(taken_apart(kravi, audio=False)[0], b"".join(streams[0].chunks), words)
        for name in ("out.avi", "all"):
            kravi.remove(name)

    refuse(avi.standard_streams(4, audio=2), "more than one audio stream", "--audio", "2")
    refuse(avi.standard_streams(4, audio=2), "more than one audio stream", "--no-audio")
    refuse([*avi.standard_streams(4), avi.video([b"other"] * 4)], "more than one video stream", "--video", "0")
    streams = avi.standard_streams(4)
    streams[1].fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1, 16, 0)
    refuse(streams, "not PCM", "--no-audio")
    streams = avi.standard_streams(4)
    streams[0].scale, streams[0].rate = 1, 15
    refuse(streams, "15/1 is not supported", "--rate", "25")
    streams = avi.standard_streams(4)
    streams[0].fmt += b"more"
    refuse(streams, "MJPG keeps 4 bytes of decoder settings, which the layout of recordings cannot store")
    streams = avi.standard_streams(4)
    streams[0].chunks[2] = b""
    refuse(streams, "--drop-empty", "--drop-empty")
    streams = [*avi.standard_streams(4), avi.Stream(b"txts", b"", [b"subtitle"])]
    refuse(streams, "neither video nor audio")


def test_rewrap_refuses_broken_input(kravi):
    streams = avi.standard_streams(4)
    data = avi.simple_avi(streams)
    kravi.write("in.avi", data)
    kravi.write("cut.avi", data[:streams[0].positions[3] + 5])
    refused(kravi, "past the end", "rewrap", "cut.avi", "out.avi", "--layout", "recording")
    refused(kravi, "it is the input file", "rewrap", "in.avi", "in.avi", "--force")
    refused(kravi, "no such file", "rewrap", "missing.avi", "out.avi")
    top_down = avi.standard_streams(2)
    top_down[0].fmt = avi.video_format(64, -48)
    kravi.write("topdown.avi", avi.simple_avi(top_down))
    refused(kravi, "top-down", "rewrap", "topdown.avi", "out.avi", "--layout", "recording")


def test_progress_as_json(kravi):
    jpegs(kravi, 20)
    kravi.write("sound.wav", wave(avi.payload(1, 20 * 7680)))
    result = exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--audio", "sound.wav", "--progress", "json"), 0)
    lines = [json.loads(line)["progress"] for line in result.err.splitlines()]
    check(lines and all(line["verb"] == "write" for line in lines), result.err)
    equal((lines[-1]["done"], lines[-1]["total"]), (20, 20), "the last line")
    last = lines[-1]["recording"]
    equal((last["framesWritten"], last["audioChunksWritten"], last["framesInIndex"], last["segments"]), (20, 20, 20, 1), "written")
    equal((last["queuedFrames"], last["queuedAudioChunks"], last["queuedBytes"]), (0, 0, 0), "queued")
    equal(last["bytesWritten"], len(kravi.read("out.avi")), "bytes written")
    check(7680 <= last["mostQueuedBytes"] <= 20 * (7680 + 400), f"most queued: {last}")
    check(last["longestWriteUs"] > 0 and last["bytesPerSecond"] > 0, f"write, rate: {last}")
    equal([last[name] for name in ("refused", "passedOver", "writeFailed", "flushFailed", "superIndexFull", "soundIsLate", "systemError")],
          [0, 0, False, False, False, False, 0], "what went wrong")


STATUS = re.compile(r"write: writing \d+ of (\d+) frames(?:, [\d.]+ frames/s(?:, [\d:]+ (?:s|min|h) left)?)?"
                    r", [\d.]+ MB/s, \d+ queued \([\d.]+ MB\), longest write (\d+) ms, longest flush \d+ ms$")


def test_state_of_the_recording_on_a_terminal(kravi):
    if kravi.is_emulated:
        return
    frames, lines = 20000, []
    while not lines:  # on a machine of any speed some recording takes longer than until the first line
        check(frames < 5000000, "no line")
        kravi.write("raw.bin", bytes(48 * frames))
        shown, code = on_terminal(kravi, "write", "out.avi", "--force", "--raw", "raw.bin", "--size", "4x4", "--bits", "24")
        equal(code, 0, "exit code")
        lines = [line.strip() for line in shown.split("\r") if "writing" in line]
        frames *= 2
    matches = [STATUS.match(line) for line in lines]
    check(all(matches), f"lines: {lines}")
    check(all(int(match.group(1)) == frames // 2 and int(match.group(2)) > 0 for match in matches), f"lines: {lines}")
