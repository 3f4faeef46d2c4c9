"""concat: one file after the other, each with its sound in sync; files that do not match are refused."""

import struct

import avi_builder as avi
from cases_cut import RATES, clip
from cases_extract import samples_until
from cases_hash import hashed
from cases_write import refused, taken_apart
from kravi_runner import check, equal, exit_code


def joined(kravi, *arguments, code=0):
    return exit_code(kravi("concat", "-o", "out.avi", *arguments, "--force", "--json"), code).json()


def fits(report):
    return [(row["sampleFrames"], row["cut"], row["repeated"], row["silence"]) for row in report["clips"]]


def sound_of(streams):
    return b"".join(streams[1].chunks)


def test_sound_starts_with_its_frames(kravi):
    """Too long, too short, no sound, and one at the end."""
    long, short = clip(5, RATES["25"], samples=9600 + 480), clip(4, RATES["25"], samples=7000)
    none, last = clip(3, RATES["25"], samples=0), clip(2, RATES["25"], samples=5000)
    for name, streams in (("long", long), ("short", short), ("none", none), ("last", last)):
        kravi.write(f"{name}.avi", avi.simple_avi(streams))
    report = joined(kravi, "long.avi", "short.avi", "none.avi", "last.avi")
    equal(fits(report), [(10080, 480, 0, 0), (7000, 0, 0, 680), (0, 0, 0, 5760), (5000, 0, 0, 0)], "sample frames")
    equal([(row["file"], row["firstFrame"], row["frames"], row["firstSampleFrame"]) for row in report["clips"]],
          [("long.avi", 0, 5, 0), ("short.avi", 5, 4, 9600), ("none.avi", 9, 3, 17280), ("last.avi", 12, 2, 23040)],
          "clips")
    notes = "\n".join(report["notes"])
    check("long.avi: left out: 480 sample frames" in notes and "short.avi: its sound ends" in notes, notes)
    wanted = sound_of(long)[:9600 * 4] + sound_of(short) + bytes((680 + 5760) * 4) + sound_of(last)
    equal(taken_apart(kravi)[1], wanted, "sound")
    equal(taken_apart(kravi)[0], b"".join(b"".join(one[0].chunks) for one in (long, short, none, last)), "frames")


def test_silence_of_every_sample_size(kravi):
    for bits, channels, value in ((8, 2, 0x80), (16, 1, 0), (24, 6, 0)):
        streams = clip(2, RATES["25"], 48000, channels, bits, samples=1000)
        kravi.write("a.avi", avi.simple_avi(streams))
        joined(kravi, "a.avi", "a.avi")
        silence = bytes([value]) * ((3840 - 1000) * channels * bits // 8)
        equal(taken_apart(kravi)[1], sound_of(streams) + silence + sound_of(streams), f"{bits} bits")


def test_sample_frame_that_is_missing_by_rounding(kravi):
    """Five frames last 8008 sample frames; a sixth ends at 9609.6 and lasts 1602 here, 1601 elsewhere."""
    rate = RATES["29.97"]
    one = clip(1, rate, samples=1601)
    kravi.write("one.avi", avi.simple_avi(one))
    report = joined(kravi, "one.avi", "one.avi", "one.avi", "one.avi")
    starts = [samples_until(frame, *rate, 48000) for frame in range(5)]
    wanted = [end - start for start, end in zip(starts, starts[1:])]
    equal([row[2] for row in fits(report)], [max(0, count - 1601) for count in wanted[:3]] + [0], "repeated")
    equal((report["notes"], [row[3] for row in fits(report)]), ([], [0] * 4), "silence")
    equal(sum(row[2] for row in fits(report)) > 0, True, "the case happens")
    sound = sound_of(one)
    equal(taken_apart(kravi)[1], b"".join(sound + sound[-4:] * (count - 1601) for count in wanted[:3]) + sound, "sound")


def test_part_of_a_sample_frame_goes(kravi):
    streams = clip(2, RATES["25"], samples=3840)
    streams[1].chunks[-1] += b"odd"
    kravi.write("a.avi", avi.simple_avi(streams))
    joined(kravi, "a.avi", "a.avi")
    equal(taken_apart(kravi)[1], sound_of(streams)[:-3] + sound_of(streams), "sound")


def test_joined_files_joined_again(kravi):
    names = []
    for number in range(3):
        streams = clip(3 + number, RATES["23.976"], samples=6006 + 3 * number)
        names.append(kravi.write(f"{number}.avi", avi.open_dml_avi(streams)))
    joined(kravi, *names)
    first = hashed(kravi, "out.avi")["streams"]
    joined(kravi, *names[:2])
    kravi.write("two.avi", kravi.read("out.avi"))
    joined(kravi, "two.avi", names[2])
    equal(hashed(kravi, "out.avi")["streams"], first, "streams")


def test_one_file_is_rewrapped(kravi):
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(5)))
    equal(joined(kravi, "in.avi")["frames"], 5, "frames")
    equal(hashed(kravi, "in.avi", "--compare", "out.avi")["same"], True, "content")


def test_silent_files(kravi):
    streams = avi.standard_streams(3, audio=0)
    kravi.write("a.avi", avi.simple_avi(streams))
    report = joined(kravi, "a.avi", "a.avi")
    equal([row["frames"] for row in report["clips"]], [3, 3], "clips")
    equal(taken_apart(kravi, audio=False)[0], b"".join(streams[0].chunks) * 2, "frames")


def test_options_for_all_files(kravi):
    streams = avi.standard_streams(3, audio=2)
    streams[0].chunks[1] = b""
    kravi.write("a.avi", avi.simple_avi(streams))
    kravi.write("b.avi", avi.open_dml_avi(streams))
    recording = ("--layout", "recording")
    refused(kravi, "more than one audio stream", "concat", "a.avi", "b.avi", "-o", "out.avi", *recording)
    report = joined(kravi, "a.avi", "b.avi", "--audio", "2", "--drop-empty", *recording, code=1)
    equal(report["frames"], 4, "frames")
    equal(report["findings"], [f"{name}.avi: left out: 1 frame without data; the picture is 0.04 s shorter, the sound is not"
                               for name in "ab"], "findings")
    report = joined(kravi, "a.avi", "b.avi", "--audio", "2")
    equal([(row["type"], row["chunks"]) for row in report["streams"]], [("vids", 6), ("auds", 6)], "streams of a copy")
    exit_code(kravi("info", "out.avi"), 0)


def test_files_that_do_not_match(kravi):
    kravi.write("a.avi", avi.simple_avi(avi.standard_streams(3)))

    def refuse(words, change, *options, before_movi=b"", audio=1):
        streams = avi.standard_streams(3, audio)
        change(streams)
        kravi.write("b.avi", avi.simple_avi(streams, before_movi=before_movi))
        refused(kravi, f"it does not match a.avi: {words}", "concat", "a.avi", "b.avi", "-o", "out.avi", *options)

    def video(**options):
        def change(streams):
            streams[0].fmt = avi.video_format(**options)
        return change

    def sound(*fmt):
        def change(streams):
            streams[1].fmt = avi.pcm_format(*fmt)
        return change

    def rate(streams):
        streams[0].rate, streams[0].scale = 30000, 1001

    def more(streams):
        streams[0].fmt += b"more"

    refuse("picture size 64 x 50, there 64 x 48", video(height=50))
    refuse("codec mjpa, there MJPG", video(compression=b"mjpa"))
    refuse("codec uncompressed, there MJPG", video(compression=b"\0\0\0\0"))
    refuse("bits per pixel 32, there 24", video(bits=32))
    refuse("frame rate 29.97, there 25", rate)
    refuse("further video format 4 bytes with the MD5 ", more)
    refuse("audio format 0x0001, 44100 Hz, 2 channels, 16 bits, 4 bytes a block, there format 0x0001, 48000 Hz, 2 channels, "
           "16 bits, 4 bytes a block", sound(44100))
    refuse("audio format 0x0001, 48000 Hz, 1 channel, 16 bits, 2 bytes", sound(48000, 1))
    refuse("audio format 0x0001, 48000 Hz, 2 channels, 24 bits, 6 bytes", sound(48000, 2, 24))
    refuse("number of streams 1, there 2", lambda streams: None, audio=0)
    refuse("private chunk KrlA 508 bytes with the MD5 ", lambda streams: None, before_movi=avi.private_chunks(1))
    recording = ("--layout", "recording")
    refuse("audio 44100 Hz, 2 channels, 16 bits, 4 bytes a sample frame, there 48000 Hz, 2 channels, 16 bits, 4 bytes "
           "a sample frame", sound(44100), *recording)
    refuse("audio none, there 48000 Hz", lambda streams: None, *recording, audio=0)
    refuse("scan mode lower, there unknown", lambda streams: None, *recording, before_movi=avi.private_chunks(1))


def test_pixel_aspect_that_does_not_match(kravi):
    for name, aspect in (("a.avi", (64, 45)), ("b.avi", (16, 15))):
        streams = avi.standard_streams(2, audio=0)
        streams[0].fmt = avi.video_format(720, 576)
        kravi.write(name, avi.simple_avi(streams, before_movi=avi.private_chunks(0, *aspect)))
    refused(kravi, "b.avi", "concat", "a.avi", "b.avi", "-o", "out.avi")
    refused(kravi, "it does not match a.avi: private chunk KrlA", "concat", "a.avi", "b.avi", "-o", "out.avi")
    cause = kravi("concat", "a.avi", "b.avi", "-o", "out.avi", "--layout", "recording", "--json").json()["error"]["cause"]
    check(cause.startswith("it does not match a.avi: display size ") and "576, there " in cause, cause)


def test_concat_refuses(kravi):
    streams = avi.standard_streams(4)
    data = avi.simple_avi(streams)
    kravi.write("a.avi", data)
    kravi.write("b.avi", data)
    kravi.write("cut.avi", data[:streams[0].positions[3] + 5])
    refused(kravi, "b.avi", "concat", "a.avi", "b.avi", "-o", "b.avi", "--force")
    refused(kravi, "missing.avi", "concat", "a.avi", "missing.avi", "-o", "out.avi")
    refused(kravi, "cannot be written", "concat", "a.avi", "b.avi", "-o", "missing/out.avi")
    refused(kravi, "past the end", "concat", "a.avi", "cut.avi", "-o", "out.avi", "--layout", "recording")
    refused(kravi, "--output", "concat", "a.avi", "b.avi")
    refused(kravi, "FILES", "concat", "-o", "out.avi")
    equal(kravi.read("b.avi"), data, "what is read")


def test_findings_name_their_file(kravi):
    streams = avi.standard_streams(4)
    data = avi.open_dml_avi(streams, segments=1)
    kravi.write("a.avi", data)
    kravi.write("b.avi", data[:4] + struct.pack("<I", len(data) + 92) + data[8:])
    report = joined(kravi, "a.avi", "b.avi", code=1)
    equal(len(report["findings"]), 1, "findings")
    check(report["findings"][0].startswith("b.avi: the file is truncated"), str(report["findings"]))
    equal(taken_apart(kravi)[0], b"".join(streams[0].chunks) * 2, "frames")


def test_silence_of_a_mad_format_fills_no_disk(kravi):
    streams = avi.standard_streams(40)
    streams[1].fmt = struct.pack("<HHIIHH", 1, 2, 0xFFFFFFF0, 0, 4, 16)
    kravi.write("a.avi", avi.simple_avi(streams))
    refused(kravi, "too many bytes per second", "concat", "a.avi", "a.avi", "-o", "out.avi", "--layout", "recording")
    refused(kravi, "too much silence", "concat", "a.avi", "a.avi", "-o", "out.avi")
    streams[1].fmt = avi.pcm_format()
    streams[0].rate, streams[0].scale = 1, 4000  # frames that last for hours
    kravi.write("a.avi", avi.simple_avi(streams))
    refused(kravi, "too much silence", "concat", "a.avi", "a.avi", "-o", "out.avi")
