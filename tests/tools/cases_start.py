"""Streams that start later than their file: copies refuse or report that, and extract takes the sound that plays."""

import shutil
import struct
import subprocess

import avi_builder as avi
from cases_extract import extract, samples_until, wave_chunks
from cases_write import refused, taken_apart
from kravi_runner import check, equal, exit_code


def late(video=0, audio=0, frames=20, rate=(25, 1)):
    streams = avi.standard_streams(frames)
    streams[0].start, streams[1].start = video, audio
    streams[0].rate, streams[0].scale = rate
    return streams


def test_late_starts(kravi):
    """Copies carry them, and recordings cannot."""
    verbs = (("rewrap", "in.avi", "out.avi"), ("cut", "in.avi", "out.avi", "--to", "15"), ("concat", "in.avi", "-o", "out.avi"))
    for video, audio, text in ((3, 0, "stream 0 starts 3 units (0.120 s) late"),
                               (0, 24000, "stream 1 starts 24000 units (0.500 s) late"),
                               (1, 0, "stream 0 starts 1 unit (0.040 s) late")):
        kravi.write("in.avi", avi.simple_avi(late(video, audio)))
        for verb in verbs:
            refused(kravi, f"{text}, which the layout of recordings cannot store", *verb, "--layout", "recording")
            exit_code(kravi(*verb), 0)
            streams = exit_code(kravi("info", "out.avi", "--json"), 0).json()["streams"]
            equal([stream["start"] for stream in streams], [video, audio], f"{verb}: starts")
            kravi.remove("out.avi")


def test_cut_keeps_sound_beside_its_frames(kravi):
    """Of sound that starts at frame 12.5, a cut from frame 5 starts 7.5 frames late, and one from frame 15 at once."""
    streams = late(0, 24000)
    sound = b"".join(streams[1].chunks)
    kravi.write("in.avi", avi.simple_avi(streams))
    for first, start, skipped in ((5, 24000 - 5 * 1920, 0), (15, 0, 15 * 1920 - 24000)):
        exit_code(kravi("cut", "in.avi", "out.avi", "--from", str(first), "--force"), 0)
        equal([stream["start"] for stream in exit_code(kravi("info", "out.avi", "--json"), 0).json()["streams"]],
              [0, start], f"starts from frame {first}")
        exit_code(kravi("extract", "out.avi", "--audio", "sound.wav", "--force"), 0)
        check(wave_chunks(kravi.read("sound.wav"))[b"data"] == sound[4 * skipped:], f"sound from frame {first}")


def test_late_streams_that_are_not_taken(kravi):
    streams = [*late(0, 24000), avi.pcm([avi.payload(7, 1920 * 4)] * 20)]
    kravi.write("in.avi", avi.simple_avi(streams))
    for options in (["--no-audio"], ["--audio", "2"]):
        recording = ("--force", "--json", "--layout", "recording")
        report = exit_code(kravi("rewrap", "in.avi", "out.avi", *recording, *options), 0).json()
        check(not any("starts" in note for note in report["notes"]), f"{options}: {report['notes']}")


def test_recover_keeps_late_starts(kravi):
    streams = late(5, 4800)
    data = avi.simple_avi(streams)
    kravi.write("in.avi", data[:streams[0].positions[12]])
    exit_code(kravi("recover", "in.avi", "out.avi"), 1)
    equal([stream["start"] for stream in kravi("info", "out.avi", "--json").json()["streams"]], [5, 4800], "starts")
    report = exit_code(kravi("recover", "in.avi", "out.avi", "--force", "--layout", "recording", "--json"), 1).json()
    equal(report["notes"], ["left out: stream 0 starts 5 units (0.200 s) late",
                            "left out: stream 1 starts 4800 units (0.100 s) late"], "notes")


def test_sound_of_frames_counts_from_the_starts(kravi):
    for video, audio, rate in ((0, 24000, (25, 1)), (3, 0, (25, 1)), (2, 1000, (30000, 1001)), (0, 9600, (25, 1))):
        streams = late(video, audio, rate=rate)
        kravi.write("in.avi", avi.simple_avi(streams))
        sound = b"".join(streams[1].chunks)
        for first, last in ((14, 16), (0, 15), (5, None), (None, 14), (0, 1)):
            arguments = [*(["--from", str(first)] if first is not None else []),
                         *(["--to", str(last)] if last is not None else [])]
            report = extract(kravi, "in.avi", "--audio", "a.wav", "--force", *arguments)
            at = [samples_until(video + frame, *rate, 48000) - audio for frame in (first or 0, (last or 0) + 1)]
            start, end = 4 * max(at[0], 0), len(sound) if last is None else 4 * max(at[1], 0)
            what = f"{video}, {audio}, {rate}: frames {first} to {last}"
            check(wave_chunks(kravi.read("a.wav"))[b"data"] == sound[start:end], what)
            notes = [f"the sound starts {-at[0]} units after the first frame of the range"] if at[0] < 0 else []
            equal(report["notes"], notes, what)
        extract(kravi, "in.avi", "--audio", "a.wav", "--force")
        check(wave_chunks(kravi.read("a.wav"))[b"data"] == sound, "all of it")


def test_start_in_other_units_than_the_samples(kravi):
    """Headers that count in bytes per second: a start of half a second is 96000 units, and 24000 samples."""
    streams = late()
    streams[1].scale, streams[1].rate, streams[1].sample_size, streams[1].start = 1, 192000, 1, 96000
    kravi.write("in.avi", avi.simple_avi(streams))
    extract(kravi, "in.avi", "--audio", "a.wav", "--from", "15", "--to", "16")
    sound = b"".join(streams[1].chunks)
    at = (15 * 1920 - 24000) * 4
    check(wave_chunks(kravi.read("a.wav"))[b"data"] == sound[at:at + 2 * 1920 * 4], "sound")


def test_compressed_sound_counts_in_chunks(kravi):
    streams = late()
    fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1152, 0, 0)
    streams[1] = avi.Stream(b"auds", fmt, [avi.payload(number, 300 + number) for number in range(17)], 1152, 48000)
    streams[1].start = 5
    kravi.write("in.avi", avi.simple_avi(streams))
    extract(kravi, "in.avi", "--audio", "a.wav", "--from", "10", "--to", "11")
    # Frame 10 starts at 0.4 s: 16.67 chunks; frame 12 at 0.48 s: 20 chunks.
    check(wave_chunks(kravi.read("a.wav"))[b"data"] == b"".join(streams[1].chunks[12:15]), "chunks")


def test_the_same_sound_as_ffmpeg(kravi):
    if kravi.is_emulated or not shutil.which("ffmpeg"):
        return
    for audio in (0, 12345, 24000):
        kravi.write("in.avi", avi.simple_avi(late(0, audio)))
        trim = "atrim=start_sample={}:end_sample={}".format(14 * 1920 - audio, 18 * 1920 - audio)
        if audio:  # by time, as a player counts it
            trim = "atrim=start=0.56:end=0.72"
        command = ["ffmpeg", "-v", "error", "-copyts", "-i", kravi.path("in.avi"), "-vn", "-af", trim, "-f", "s16le", "-"]
        heard = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               check=True).stdout
        extract(kravi, "in.avi", "--audio", "a.wav", "--from", "14", "--to", "17", "--force")
        got = wave_chunks(kravi.read("a.wav"))[b"data"]
        check(got == heard, f"start {audio}: {len(got)} bytes, {len(heard)} by ffmpeg")
