"""cut: the requested frames and their sound; rejoined pieces equal the source."""

import os
import signal
import struct
import time

import avi_builder as avi
from cases_extract import samples_until
from cases_hash import hashed, md5
from cases_write import refused, taken_apart
from kravi_runner import check, equal, exit_code

RATES = {"23.976": (24000, 1001), "29.97": (30000, 1001), "59.94": (60000, 1001), "25": (25, 1)}


def clip(frames, rate, samples_per_second=48000, channels=2, bits=16, samples=None):
    """A video stream and the sound of its frames, in blocks unrelated to the frames."""
    streams = [avi.video([avi.payload(number, 90 + number) for number in range(frames)], rate[1], rate[0])]
    align = channels * bits // 8
    if samples is None:
        samples = samples_until(frames, *rate, samples_per_second)
    sound = avi.payload(frames, samples * align)
    blocks = [sound[start:start + 1009 * align] for start in range(0, len(sound), 1009 * align)]
    return streams + [avi.pcm(blocks, samples_per_second, channels, bits)]


RECORDING = ("--layout", "recording")


def cut(kravi, name, output, *options, code=0):
    return exit_code(kravi("cut", name, output, *options, "--force", "--json"), code).json()


def cut_in_three(kravi, first, second, frames):
    """Cuts in.avi before two frames; returns the reports."""
    ranges = (("--to", str(first - 1)), ("--from", str(first), "--to", str(second - 1)), ("--from", str(second)))
    reports = [cut(kravi, "in.avi", f"piece{number}.avi", *range_) for number, range_ in enumerate(ranges)]
    equal([report["frames"] for report in reports], [first, second - first, frames - second], "frames")
    return reports


def check_three_cuts(kravi, build, streams, rate, first, second):
    frames, fmt = len(streams[0].chunks), streams[1].fmt
    samples_per_second, align = struct.unpack_from("<I", fmt, 4)[0], struct.unpack_from("<H", fmt, 12)[0]
    sound = b"".join(streams[1].chunks)
    kravi.write("in.avi", build(streams))
    reports = cut_in_three(kravi, first, second, frames)
    places = [0, *(samples_until(frame, *rate, samples_per_second) for frame in (first, second)), len(sound) // align]
    equal([report["sampleFrames"] for report in reports], [end - start for start, end in zip(places, places[1:])],
          "sample frames")
    for number, (start, end) in enumerate(zip(places, places[1:])):
        equal(hashed(kravi, f"piece{number}.avi")["streams"][1]["md5"], md5(sound[start * align:end * align]),
              f"sound of piece {number}")
    report = exit_code(kravi("concat", "-o", "joined.avi", "piece0.avi", "piece1.avi", "piece2.avi", "--force",
                             "--json"), 0).json()
    equal([(row["cut"], row["repeated"], row["silence"]) for row in report["clips"]], [(0, 0, 0)] * 3, "sound that fits")
    equal([row["firstSampleFrame"] for row in report["clips"]], places[:3], "where sound starts")
    report = hashed(kravi, "in.avi", "--compare", "joined.avi", "--frames")
    equal((report["same"], report["notes"]), (True, []), f"{rate}: {report}")
    equal([row["md5"] for row in report["frames"]], [md5(data) for data in streams[0].chunks], "frames")


def test_three_cuts_joined_are_the_source(kravi):
    builders = (avi.simple_avi, avi.open_dml_avi, lambda streams: avi.open_dml_avi(streams, segments=4))
    formats = ((48000, 6, 24), (44100, 1, 8), (48000, 2, 16), (32000, 1, 16))
    for number, rate in enumerate(RATES.values()):
        for place, sound in enumerate(formats):
            build = builders[(number + place) % len(builders)]
            check_three_cuts(kravi, build, clip(31, rate, *sound), rate, 7 + place, 18 - number)


def test_every_place_is_fit_to_cut(kravi):
    rate = RATES["29.97"]
    streams = clip(12, rate, 44100, 1, 16)
    for first in range(1, 11):
        check_three_cuts(kravi, avi.simple_avi, streams, rate, first, first + 1)


def test_sound_that_is_longer_or_shorter_than_the_frames(kravi):
    rate = RATES["59.94"]
    check_three_cuts(kravi, avi.simple_avi, clip(20, rate, samples=16016 + 48001), rate, 3, 11)
    kravi.write("in.avi", avi.simple_avi(clip(20, rate, samples=5000)))
    report = cut(kravi, "in.avi", "out.avi", "--from", "5", "--to", "9")
    wanted = samples_until(10, *rate, 48000) - samples_until(5, *rate, 48000)
    equal(report["sampleFrames"], 5000 - samples_until(5, *rate, 48000), "sample frames")
    equal(report["notes"], [f"stream 1: the sound ends {wanted - report['sampleFrames']} sample frames before the last frame"],
          "notes")
    report = cut(kravi, "in.avi", "out.avi", "--from", "12")
    equal((report["frames"], report["sampleFrames"]), (8, 0), "after the sound")
    equal(hashed(kravi, "out.avi")["streams"][0]["frames"], 8, "frames")


def test_cut_of_everything_is_rewrap(kravi):
    kravi.write("in.avi", avi.simple_avi(clip(9, RATES["25"], samples=20001)))
    exit_code(kravi("rewrap", "in.avi", "one.avi"), 0)
    cut(kravi, "in.avi", "two.avi", "--from", "0", "--to", "8", "--rate", "25")
    report = cut(kravi, "in.avi", "three.avi", "--from", "0")
    equal((report["firstFrame"], report["lastFrame"], report["sampleFrames"]), (0, 8, 20001), "report")
    equal(hashed(kravi, "one.avi", "--compare", "three.avi")["same"], True, "cut of everything")
    found = hashed(kravi, "one.avi", "--compare", "two.avi", code=1)["differences"]
    equal([one["sampleFrame"] for one in found], [9 * 1920], "sound after the last frame")


def test_cut_refuses(kravi):
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(4)))
    kravi.write("there.avi", b"precious")
    kravi.write("empty.avi", b"")
    refused(kravi, "video stream 0 has 4 frames", "cut", "in.avi", "out.avi", "--to", "4")
    refused(kravi, "--force", "cut", "in.avi", "there.avi")
    equal(kravi.read("there.avi"), b"precious", "what is there")
    refused(kravi, "it is the input file", "cut", "in.avi", "in.avi", "--force")
    refused(kravi, "cannot be written", "cut", "in.avi", "missing/out.avi")
    refused(kravi, "video stream 0 has 4 frames", "cut", "in.avi", "out.avi", "--from", "4")
    refused(kravi, "--from is after --to", "cut", "in.avi", "out.avi", "--from", "3", "--to", "2")
    refused(kravi, "--from: '-1' is not a frame such as 250, 00:00:10:00 or 10.5s", "cut", "in.avi", "out.avi", "--from", "-1")
    refused(kravi, "only 0 bytes", "cut", "empty.avi", "out.avi")
    refused(kravi, "no such file", "cut", "missing.avi", "out.avi")
    kravi.write("none.avi", avi.simple_avi([avi.video([]), avi.pcm([avi.payload(1, 4000)])]))
    refused(kravi, "it has no frames", "cut", "none.avi", "out.avi")


def test_content_that_the_new_file_cannot_carry(kravi):
    streams = avi.standard_streams(6, audio=2)
    streams[0].chunks[4] = b""
    kravi.write("in.avi", avi.simple_avi(streams))
    refused(kravi, "more than one audio stream", "cut", "in.avi", "out.avi", *RECORDING)
    options = ["--audio", "2", *RECORDING]
    refused(kravi, "--drop-empty", "cut", "in.avi", "out.avi", "--to", "4", *options)
    report = cut(kravi, "in.avi", "out.avi", "--to", "3", *options)
    equal((report["frames"], report["notes"][1:]), (4, []), "the empty frame is not among them")
    equal(taken_apart(kravi), (b"".join(streams[0].chunks[:4]), b"".join(streams[2].chunks[:4])), "second track")
    report = cut(kravi, "in.avi", "out.avi", "--from", "3", "--to", "5", "--drop-empty", *options, code=1)
    equal(report["findings"], ["left out: 1 frame without data; the picture is 0.04 s shorter, the sound is not"], "findings")
    equal(taken_apart(kravi), (b"".join(streams[0].chunks[3:]), b"".join(streams[2].chunks[3:])), "without it")
    report = cut(kravi, "in.avi", "out.avi", "--to", "1", "--no-audio", *RECORDING, "--rate", "50")
    equal((report["frameRate"], "sampleFrames" in report), ("50", False), "report")


def test_sound_format_that_contradicts_itself(kravi):
    streams = avi.standard_streams(4)
    streams[1].fmt = struct.pack("<HHIIHH", 1, 2, 48000, 192000, 5, 16)
    kravi.write("in.avi", avi.simple_avi(streams))
    refused(kravi, "inconsistent (2 channels of 16 bits, 5 bytes a sample frame)", "cut", "in.avi", "out.avi", *RECORDING)
    equal(cut(kravi, "in.avi", "out.avi", "--from", "1", "--no-audio")["frames"], 3, "frames")


def test_range_counts_in_the_rate_that_is_written(kravi):
    streams = avi.standard_streams(10)
    streams[0].scale, streams[0].rate = 1, 15
    kravi.write("in.avi", avi.simple_avi(streams))
    refused(kravi, "15/1 is not supported", "cut", "in.avi", "out.avi", "--from", "2", *RECORDING)
    cut(kravi, "in.avi", "out.avi", "--from", "2", "--to", "4", "--rate", "25")
    equal(taken_apart(kravi), tuple(b"".join(stream.chunks[2:5]) for stream in streams), "content")


def test_first_frame_that_needs_others(kravi):
    streams = avi.standard_streams(12, audio=0)
    streams[0].keys = {0, 5, 10}
    for build in (avi.simple_avi, lambda made: avi.open_dml_avi(made, segments=3),
                  lambda made: avi.simple_avi(made, relative=False)):
        kravi.write("in.avi", build(streams))
        report = cut(kravi, "in.avi", "out.avi", "--from", "7", "--to", "9", code=1)
        equal(report["findings"], ["frame 7 is not a key frame: it needs frames from 5 on; cut there, or use --key before; "
                                   "the next key frame is 10"], "findings")
        equal(report["notes"], [], "notes")
        equal(taken_apart(kravi, audio=False)[0], b"".join(streams[0].chunks[7:10]), "frames")
        report = cut(kravi, "in.avi", "out.avi", "--from", "5", "--to", "9")
        equal((report["findings"], report["notes"]), ([], []), "key frame")
        report = cut(kravi, "in.avi", "out.avi", "--from", "7", "--to", "9", "--key", "before")
        equal((report["firstFrame"], report["notes"]),
              (5, ["frame 7 is not a key frame; the new file starts at frame 5"]), "the key frame before")
        equal(taken_apart(kravi, audio=False)[0], b"".join(streams[0].chunks[5:10]), "frames from the key frame on")
    streams[0].keys = {3}
    kravi.write("in.avi", avi.simple_avi(streams))
    equal(cut(kravi, "in.avi", "out.avi", code=1)["findings"],
          ["frame 0 is not a key frame: the frames it needs are not in the file; the next key frame is 3"], "nothing before")
    equal(cut(kravi, "in.avi", "out.avi", "--from", "4", code=1)["findings"],
          ["frame 4 is not a key frame: it needs frames from 3 on; cut there, or use --key before"], "nothing after it")
    streams[0].keys = set()  # without flags they are not key frames
    kravi.write("in.avi", avi.simple_avi(streams))
    equal(cut(kravi, "in.avi", "out.avi", "--from", "4")["notes"], [], "notes")


def test_frames_that_are_left_out_depend_on_nothing(kravi):
    """Repeated frames, which are empty and not key frames."""
    streams = avi.standard_streams(9, audio=0)
    streams[0].keys = {0, 2, 4, 6, 8}
    for place in (1, 3, 5, 7):
        streams[0].chunks[place] = b""
    kravi.write("in.avi", avi.simple_avi(streams))
    left_out = "left out: {} without data; the picture is {} s shorter, the sound is not"
    report = cut(kravi, "in.avi", "out.avi", "--drop-empty", *RECORDING, code=1)
    equal(report["findings"], [left_out.format("4 frames", "0.16")], "empty ones alone")
    report = cut(kravi, "in.avi", "out.avi", "--drop-empty", "--from", "1", "--to", "2", *RECORDING, code=1)
    equal(report["findings"], [left_out.format("1 frame", "0.04")], "an empty one at first")
    streams[0].keys = {2, 8}
    kravi.write("in.avi", avi.simple_avi(streams))
    kravi.remove("out.avi")
    refused(kravi, "1 frame of stream 0 depends on others, which the layout of recordings cannot store", "cut", "in.avi",
            "out.avi", "--drop-empty", "--from", "1", "--to", "5", *RECORDING)
    streams[0].keys = set(range(9))
    kravi.write("in.avi", avi.simple_avi(streams))
    refused(kravi, "1 frame has no data (repeated frames)", "cut", "in.avi", "out.avi", "--to", "2", *RECORDING)
    refused(kravi, "4 frames have no data (repeated frames)", "cut", "in.avi", "out.avi", *RECORDING)


def test_source_that_is_damaged_at_its_end(kravi):
    streams = avi.standard_streams(8)
    data = avi.simple_avi(streams)
    kravi.write("in.avi", data[:streams[0].positions[6] + 5])
    refused(kravi, "from 6 on are past the end", "cut", "in.avi", "out.avi", "--from", "2", *RECORDING)
    report = cut(kravi, "in.avi", "out.avi", "--from", "2", "--to", "5", code=1)
    check(any("truncated" in finding for finding in report["findings"]), str(report))
    equal(taken_apart(kravi), tuple(b"".join(stream.chunks[2:6]) for stream in streams), "content")
    kravi.write("in.avi", data[:streams[1].positions[6] + 5])
    kravi.remove("out.avi")
    refused(kravi, "audio chunks of stream 1", "cut", "in.avi", "out.avi", "--to", "6", *RECORDING)


def test_progress(kravi):
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(8)))
    result = exit_code(kravi("cut", "in.avi", "out.avi", "--to", "4", "--progress", "json"), 0)
    size = os.path.getsize(kravi.path("out.avi"))
    check(f'"verb":"cut","step":"writing","unit":"bytes","done":{size},"total":{size}' in result.err, result.err)


def large_avi(kravi, name):
    """Many large frames that take no space on the disk: more than any disk writes in a moment."""
    size, count = 16 << 20, 180
    data = avi.simple_avi([avi.video([b"x" * 300])], idx1=False)
    head = data.index(b"00dc")
    entries = b""
    with open(kravi.path(name), "wb") as file:
        file.write(data[:head])
        for number in range(count):
            position = head + number * (size + 8)
            file.seek(position)
            file.write(b"00dc" + struct.pack("<I", size))
            entries += struct.pack("<4sIII", b"00dc", 0x10, position, size)
        end = head + count * (size + 8)
        file.seek(end)
        file.write(avi.chunk(b"idx1", entries))
        file.seek(4)
        file.write(struct.pack("<I", end + len(entries)))
        file.seek(data.index(b"movi") - 4)
        file.write(struct.pack("<I", end - data.index(b"movi")))
    return name


def test_interruption_leaves_no_half_file(kravi):
    if kravi.is_emulated:
        return  # the emulator would get the signal instead
    large_avi(kravi, "in.avi")
    for number, verb in ((signal.SIGINT, ("cut", "in.avi", "out.avi", "--from", "1")),
                         (signal.SIGTERM, ("concat", "in.avi", "in.avi", "-o", "out.avi"))):
        process = kravi.start(*verb)
        deadline = time.monotonic() + 30
        while not any(name.endswith(".tmp") and os.path.getsize(kravi.path(name)) > 1 << 20 for name in kravi.names()):
            check(process.poll() is None and time.monotonic() < deadline, "no temporary file grows")
        process.send_signal(number)
        err = process.communicate(timeout=60)[1]
        equal((process.returncode, err), (2, b"kravi: interrupted\n"), "end")
        equal(kravi.names(), ["in.avi"], "files")
