"""recover: every whole chunk of a damaged file is recovered, and the report lists what is lost."""

import json
import os
import random
import shutil
import signal
import struct
import subprocess
import time

import avi_builder as avi
from cases_write import refused, taken_apart, timeless
from kravi_runner import check, equal, exit_code

BUILDERS = {"idx1": avi.simple_avi, "odml": avi.open_dml_avi,
            "three": lambda streams: avi.open_dml_avi(streams, segments=3),
            "rec": lambda streams: avi.simple_avi(streams, groups=5),
            "bare": lambda streams: avi.simple_avi(streams, idx1=False)}
SOUND = 1920 * 4  # bytes of a block


def recovered(kravi, data, *options, code=1, layout="recording"):
    """Without gaps filled, as the layout of recordings has them."""
    kravi.write("in.avi", data)
    chosen = ["--layout", layout] if "--like" not in options else []
    return exit_code(kravi("recover", "in.avi", "out.avi", *options, *chosen, "--force", "--json"), code).json()


def check_content(kravi, report, video, audio, what):
    """The written file holds these chunks, and nothing else; `audio` is None where no stream is expected."""
    equal(report["frames"], len(video), f"{what}: frames")
    equal(report.get("audioBytes"), None if audio is None else sum(map(len, audio)), f"{what}: bytes of sound")
    frames, sound = taken_apart(kravi, audio=bool(audio))
    check(frames == b"".join(video), f"{what}: frames")
    check(not audio or sound == b"".join(audio), f"{what}: sound")


def without(items, *places):
    return [item for place, item in enumerate(items) if place not in places]


def header_at(stream, place):
    return stream.positions[place] - 8


def regions(report):
    return [(region["offset"], region["bytes"]) for region in report["damagedRegions"]]


def test_whole_files(kravi):
    for kind, build in BUILDERS.items():
        streams = avi.standard_streams(30)
        data = build(streams)
        report = recovered(kravi, data, code=0)
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, kind)
        equal((report["framesLost"], report["bytesSkipped"], regions(report)), (0, 0, []), f"{kind}: report")
        exit_code(kravi("rewrap", "in.avi", "rewrapped.avi", "--force", "--layout", "recording"), 0)
        check(timeless(kravi.read("out.avi")) == timeless(kravi.read("rewrapped.avi")), f"{kind}: as rewrapped")
        recovered(kravi, kravi.read("out.avi"), code=0)
        check(timeless(kravi.read("out.avi")) == timeless(kravi.read("rewrapped.avi")), f"{kind}: a second time")


def test_scan_mode_and_aspect_of_a_cut_file(kravi):
    streams = avi.standard_streams(3, audio=0)
    streams[0].fmt = avi.video_format(720, 576)
    data = avi.simple_avi(streams, before_movi=avi.private_chunks(0, 64, 45))
    report = recovered(kravi, data[:streams[0].positions[2] + 7])
    check_content(kravi, report, streams[0].chunks[:2], None, "content")
    info = exit_code(kravi("info", "out.avi", "--json"), 0).json()
    equal(info["privateChunks"][0]["scanMode"]["value"], 0, "scan mode")
    check("64:45" in exit_code(kravi("info", "out.avi"), 0).out, "aspect")


def test_cut_anywhere(kravi):
    places = random.Random(7)
    for number in range(kravi.rounds(200, emulated=10)):
        kind = places.choice(sorted(BUILDERS))
        streams = avi.standard_streams(8)
        data = BUILDERS[kind](streams)
        cut = places.randrange(1, len(data))
        what = f"{kind} cut at {cut}"
        whole = [[chunk for chunk, position in zip(stream.chunks, stream.positions) if position + len(chunk) <= cut]
                 for stream in streams]
        if not whole[0]:
            kravi.write("in.avi", data[:cut])
            result = exit_code(kravi("recover", "in.avi", "out.avi", "--force"), 2)
            check("no whole frame" in result.err, f"{what}: {result}")
            continue
        lost = len(streams[0].chunks) - len(whole[0])
        kravi.write("in.avi", data[:cut])
        result = kravi("recover", "in.avi", "out.avi", "--force", "--json")
        check(result.code == 1 or (result.code == 0 and lost == 0), f"{what}: {result}")
        check_content(kravi, result.json(), *whole, what)
        equal(result.json()["framesLost"], lost, f"{what}: frames lost")


def test_cut_after_the_last_chunk_loses_nothing(kravi):
    streams = avi.standard_streams(5)
    data = avi.simple_avi(streams)
    last = streams[1].positions[-1] + SOUND
    for cut in (last, last + 3, last + 8, last + 50):
        report = recovered(kravi, data[:cut], code=1 if cut == last + 3 else 0)
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, f"cut at {cut}")


def test_zeros_over_chunk_headers(kravi):
    streams = avi.standard_streams(12)
    data = bytearray(avi.simple_avi(streams))
    for stream, place in ((0, 0), (0, 5), (1, 8), (1, 11)):
        at = header_at(streams[stream], place)
        data[at:at + 8] = bytes(8)
    report = recovered(kravi, data)
    check_content(kravi, report, without(streams[0].chunks, 0, 5), without(streams[1].chunks, 8, 11), "content")
    sizes = [len(streams[0].chunks[0]) + 1, len(streams[0].chunks[5]), SOUND, SOUND]
    places = [header_at(streams[0], 0), header_at(streams[0], 5), header_at(streams[1], 8),
              header_at(streams[1], 11)]
    equal(regions(report), [(place, size + 8) for place, size in zip(places, sizes)], "regions")
    equal((report["framesLost"], report["damagedRegionCount"]), (2, 4), "report")


def test_zeros_over_data(kravi):
    streams = avi.standard_streams(12)
    data = bytearray(avi.open_dml_avi(streams))
    at = streams[1].positions[4]
    data[at + 10:at + 5000] = bytes(4990)
    streams[1].chunks[4] = bytes(data[at:at + SOUND])
    report = recovered(kravi, data, code=0)  # nothing shows that these are not samples
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "inside one chunk")
    first, last = streams[0].positions[6] + 100, streams[0].positions[8] + 50
    data[first:last] = bytes(last - first)
    streams[0].chunks[6] = bytes(data[first - 100:first - 100 + len(streams[0].chunks[6])])
    report = recovered(kravi, data)
    check_content(kravi, report, without(streams[0].chunks, 7, 8), without(streams[1].chunks, 6, 7), "over chunks")
    equal(report["damagedRegionCount"], 1, "regions")


def test_sizes_of_lists_are_not_trusted(kravi):
    for kind, build in BUILDERS.items():
        streams = avi.standard_streams(10)
        data = build(streams)
        for name in (b"AVI ", b"AVIX", b"movi", b"hdrl", b"strl", b"rec "):
            for size in (0, 1, 0xFFFFFFFF, 2000):
                if kravi.is_emulated and size != 0:
                    continue
                wrong, at = bytearray(data), data.find(name)
                while at >= 8 and data[at - 8:at - 4] in (b"RIFF", b"LIST"):
                    struct.pack_into("<I", wrong, at - 4, size)
                    at = data.find(name, at + 4)
                if wrong == data:
                    continue
                report = recovered(kravi, wrong, code=0)
                check_content(kravi, report, streams[0].chunks, streams[1].chunks, f"{kind}: {name}, {size}")


def test_ids_of_lists_are_not_needed(kravi):
    streams = avi.standard_streams(10)
    for kind in ("idx1", "odml"):
        data = BUILDERS[kind](streams)
        movi = data.index(b"movi")
        for at, wrong in ((movi, bytes(4)), (movi, b"abcd"), (movi - 8, b"LISt"), (movi - 8, bytes(12)), (0, b"RIFf"),
                          (0, bytes(12)), (8, bytes(4)), (data.index(b"hdrl") - 8, b"LISt")):
            damaged = data[:at] + wrong + data[at + len(wrong):]
            kravi.write("in.avi", damaged)
            result = kravi("recover", "in.avi", "out.avi", "--force", "--json")
            check(result.code in (0, 1), f"{kind}: {wrong} at {at}: {result}")
            check_content(kravi, result.json(), streams[0].chunks, streams[1].chunks, f"{kind}: {wrong} at {at}")


def test_garbage_between_chunks(kravi):
    noise = random.Random(3)
    streams = avi.standard_streams(12)
    data = avi.simple_avi(streams)
    kinds = {"noise": noise.randbytes(3001), "text": b"no chunk at all, whatever it says " * 9, "ones": b"\xff" * 200,
             "a chunk's id": b"00dc" + struct.pack("<I", 500) + noise.randbytes(90),
             "entries": avi.chunk(b"XXXX", b"00dc\x10\0\0\0\4\0\0\0\x10\0\0\0" * 9)[4:]}
    for name, garbage in kinds.items():
        out, start = bytearray(), 0
        for stream, place in ((0, 3), (1, 7), (0, 9)):
            at = header_at(streams[stream], place)
            out += data[start:at] + garbage
            start = at
        report = recovered(kravi, out + data[start:])
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, name)
        equal([size for _, size in regions(report)], [len(garbage)] * 3, f"{name}: regions")
        equal(report["bytesSkipped"], 3 * len(garbage), f"{name}: bytes")


def test_garbage_at_the_ends(kravi):
    streams = avi.standard_streams(4)
    data = avi.simple_avi(streams)
    noise = random.Random(5).randbytes(777)
    check_content(kravi, recovered(kravi, noise + data), streams[0].chunks, streams[1].chunks, "in front")
    report = recovered(kravi, data + noise)
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "after the hole")
    equal(regions(report), [(len(data), len(noise))], "regions")


def test_entries_of_an_index_in_front_of_zeros(kravi):
    """The flags of a last entry, 0x10, are not the size of a chunk, although zeros can follow one."""
    for frames, audio in ((6, 1), (1, 0)):
        streams = avi.standard_streams(frames, audio)
        data = avi.simple_avi(streams)
        for zeros in (16, 5000):
            report = recovered(kravi, data + bytes(zeros))
            check_content(kravi, report, streams[0].chunks, streams[1].chunks if audio else None, f"{zeros} zeros")
            equal(regions(report), [(len(data), zeros)], f"{zeros} zeros: regions")
    streams = avi.standard_streams(6)
    data = bytearray(avi.simple_avi(streams))
    at = data.index(b"idx1")
    data[at:at + 8] = bytes(8)
    report = recovered(kravi, data + bytes(16))
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "no header of the index")


def test_short_chunks_after_damage(kravi):
    """Chunks of 8 or 0 bytes before one of 16 bytes are not entries of an index."""
    for sizes in ((8, 16, 16), (7, 16, 16), (0, 0, 16, 16)):
        frames = [b"first", *(avi.payload(number, size) for number, size in enumerate(sizes)), b"last"]
        streams = [avi.video(frames)]
        data = bytearray(avi.simple_avi(streams, idx1=False))
        data[header_at(streams[0], 0):header_at(streams[0], 0) + 4] = bytes(4)
        report = recovered(kravi, data)
        equal((report["frames"], taken_apart(kravi, audio=False)[0]), (len([f for f in frames[1:] if f]), b"".join(frames[1:])),
              f"{sizes}")


def test_wrong_sizes_of_chunks(kravi):
    streams = avi.standard_streams(12)
    data = avi.simple_avi(streams)
    for size in (0, 7, 20000, 60000, 0x7FFFFFFF, 0xFFFFFFFF):
        wrong = bytearray(data)
        struct.pack_into("<I", wrong, header_at(streams[0], 5) + 4, size)
        report = recovered(kravi, wrong)
        if size == 7:  # a short chunk followed by garbage
            streams[0].chunks[5] = streams[0].chunks[5][:7]
            check_content(kravi, report, streams[0].chunks, streams[1].chunks, "7 bytes")
            continue
        check_content(kravi, report, without(avi.standard_streams(12)[0].chunks, 5), streams[1].chunks, f"size {size}")
        equal((report["cutChunks"], report["framesLost"]), (1, 1), f"size {size}: report")


def test_sound_stays_aligned_after_damage(kravi):
    """Blocks that end inside a sample: after a lost one the next starts with a whole sample again."""
    streams = avi.standard_streams(6)
    sound = b"".join(streams[1].chunks)
    sizes = [SOUND, SOUND + 1, SOUND - 1, SOUND, SOUND, SOUND]
    ends = [sum(sizes[:place + 1]) for place in range(6)]
    streams[1].chunks = [sound[end - size:end] for end, size in zip(ends, sizes)]
    data = bytearray(avi.simple_avi(streams))
    check_content(kravi, recovered(kravi, data, code=0), streams[0].chunks, streams[1].chunks, "whole")
    at = header_at(streams[1], 2)
    data[at:at + 4] = bytes(4)
    report = recovered(kravi, data)
    blocks = [streams[1].chunks[0], streams[1].chunks[1][:-1], *streams[1].chunks[3:]]
    check_content(kravi, report, streams[0].chunks, blocks, "damaged")
    check(any("left out: 1 byte of samples" in text for text in report["findings"]), report["findings"])


def test_unpadded_chunks(kravi):
    frames = [avi.payload(number, 301 + number) for number in range(9)]
    whole = avi.simple_avi([avi.video(frames)], idx1=False)
    data = whole[:whole.index(b"movi") + 4] + b"".join(b"00dc" + struct.pack("<I", len(frame)) + frame
                                                        for frame in frames)
    check_content(kravi, recovered(kravi, data, code=0), frames, None, "content")


def test_headers_destroyed(kravi):
    streams = avi.standard_streams(10)
    data = avi.simple_avi(streams)
    movi = data.index(b"movi")
    options = ("--size", "64x48", "--rate", "25", "--codec", "MJPG", "--bits", "24", "--pcm", "48000,2,16")
    damaged = {"zeros": bytes(movi + 4) + data[movi + 4:], "noise": random.Random(1).randbytes(movi) + data[movi:],
               "gone": data[movi + 4:]}
    for kind, wrong in damaged.items():
        kravi.write("in.avi", wrong)
        result = exit_code(kravi("recover", "in.avi", "new.avi"), 2)
        check("--size --codec --rate" in result.err and "new.avi" not in kravi.names(), f"{kind}: {result}")
        report = recovered(kravi, wrong, *options, code=0 if kind == "gone" else 1)
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, kind)
        equal((report["width"], report["height"], report["codec"], report["frameRate"], report["framesLost"]),
              (64, 48, "MJPG", "25", None), f"{kind}: report")
        report = recovered(kravi, wrong, *options[:-2])
        check_content(kravi, report, streams[0].chunks, None, f"{kind}: no format for the sound")
        check(any("--pcm" in text for text in report["findings"]), report["findings"])


def test_single_headers_destroyed(kravi):
    streams = avi.standard_streams(10)
    data = avi.simple_avi(streams)

    def with_zeros(tag, number, size, first=0):
        at = -1
        for _ in range(number + 1):
            at = data.index(tag, at + 1)
        return data[:at + first] + bytes(size - first) + data[at + size:]

    cases = {"avih": with_zeros(b"avih", 0, 64), "strl of video": with_zeros(b"strl", 0, 4),
             "strh of video": with_zeros(b"strh", 0, 64), "strf of video": with_zeros(b"strf", 0, 48),
             "size of strf": with_zeros(b"strf", 0, 8, 4), "size of strh": with_zeros(b"strh", 1, 8, 4),
             "all of video": with_zeros(b"strl", 0, 4 + 64 + 48), "strh of sound": with_zeros(b"strh", 1, 64),
             "hdrl": with_zeros(b"hdrl", 0, 4)}
    for size in (0, 5, 0xFFFFFFFF):
        wrong = bytearray(cases["avih"])
        struct.pack_into("<I", wrong, data.index(b"strf") + 4, size)
        cases[f"avih, and {size} in strf"] = bytes(wrong)
    for kind, wrong in cases.items():
        kravi.write("in.avi", wrong)
        result = kravi("recover", "in.avi", "out.avi", "--force", "--json")
        if kind == "all of video":
            check("--codec" in exit_code(result, 2).json()["error"]["cause"], kind)
            result = kravi("recover", "in.avi", "out.avi", "--force", "--json", "--codec", "MJPG")
        entered = kind in ("strl of video", "hdrl")  # a list is entered whatever its type
        report = exit_code(result, 0 if entered else 1).json()
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, kind)
        equal((report["width"], report["height"], report["codec"], report["frameRate"]), (64, 48, "MJPG", "25"), kind)
    report = recovered(kravi, with_zeros(b"strf", 1, 24))
    check_content(kravi, report, streams[0].chunks, None, "strf of sound")
    report = recovered(kravi, with_zeros(b"strf", 1, 24), "--pcm", "48000,2,16")
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "strf of sound, --pcm")


def test_streams_are_chosen(kravi):
    streams = [*avi.standard_streams(4, audio=2), avi.video([b"other"] * 5)]
    data = avi.simple_avi(streams)
    report = recovered(kravi, data)
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "the first ones")
    equal(len(report["findings"]), 2, "findings")
    report = recovered(kravi, data, "--video", "3", "--audio", "2", code=0)
    check_content(kravi, report, streams[3].chunks, streams[2].chunks, "others")
    equal(len(report["notes"]), 2, "notes")
    report = recovered(kravi, data, "--video", "0", "--no-audio", code=0)
    check_content(kravi, report, streams[0].chunks, None, "no sound")
    refused(kravi, "no complete video chunk of stream 1", "recover", "in.avi", "new.avi", "--video", "1",
            "--layout", "recording")
    refused(kravi, "no complete audio chunk of stream 9", "recover", "in.avi", "new.avi", "--audio", "9",
            "--layout", "recording")
    refused(kravi, "stream 1 is of type 'auds', not video", "recover", "in.avi", "new.avi", "--video", "1")
    refused(kravi, "there is no stream 9: the file has 4 streams", "recover", "in.avi", "new.avi", "--audio", "9")


def test_numbers_of_streams_above_nine(kravi):
    """Two hexadecimal digits, or decimal ones as some programs write them."""
    streams = avi.standard_streams(3, audio=11)
    data = avi.simple_avi(streams, idx1=False)
    report = recovered(kravi, data, "--audio", "10", code=0)
    check_content(kravi, report, streams[0].chunks, streams[10].chunks, "hexadecimal")
    report = recovered(kravi, data.replace(b"0awb", b"10wb"), "--audio", "10", code=0)
    check_content(kravi, report, streams[0].chunks, streams[10].chunks, "decimal")


def test_progress(kravi):
    streams = avi.standard_streams(20)
    kravi.write("in.avi", avi.simple_avi(streams))
    result = exit_code(kravi("recover", "in.avi", "out.avi", "--progress", "json"), 0)
    lines = [json.loads(line)["progress"] for line in result.err.splitlines()]
    equal([(line["verb"], line["step"]) for line in lines], [("recover", "searching"), ("recover", "writing")],
          "steps")
    check("frames lost                0" in result.out, result.out)
    headless = avi.simple_avi(streams).replace(b"strh", b"----").replace(b"avih", b"----")
    kravi.write("in.avi", headless)
    result = kravi("recover", "in.avi", "new.avi", "--size", "64x48", "--rate", "25", "--codec", "MJPG")
    check("frames lost                unknown (the headers give no usable count)" in result.out, result.out)


def test_what_the_writer_cannot_carry(kravi):
    def refuse(streams, words, *options):
        kravi.write("in.avi", avi.simple_avi(streams))
        refused(kravi, words, "recover", "in.avi", "new.avi", "--layout", "recording")
        report = recovered(kravi, avi.simple_avi(streams), *options, code=0)
        check_content(kravi, report, streams[0].chunks, None if "--no-audio" in options else streams[1].chunks, words)

    streams = avi.standard_streams(4)
    streams[1].fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1, 16, 0)
    refuse(streams, "not PCM; --no-audio", "--no-audio")
    streams = avi.standard_streams(4)
    streams[0].scale, streams[0].rate = 1, 15
    refuse(streams, "15/1 is not supported", "--rate", "25")
    streams = avi.standard_streams(4)
    streams[0].fmt = avi.video_format(64, -48)
    refuse(streams, "--size 64x48", "--size", "64x48")
    streams = avi.standard_streams(4)
    streams[0].fmt += b"more"
    streams[0].chunks[2] = b""
    streams.append(avi.Stream(b"txts", b"", []))
    data = avi.simple_avi(streams, idx1=False) + avi.chunk(b"02tx", b"subtitle")
    report = recovered(kravi, data)
    check_content(kravi, report, without(streams[0].chunks, 2), streams[1].chunks, "left out")
    equal((report["emptyFrames"], report["framesLost"], len(report["findings"])), (1, 0, 4), "report")


def test_rows_from_the_top(kravi):
    """Uncompressed pictures are upright whether or not a size is given; those of a codec have no rows."""
    row, height = 5 * 3 + 1, 4
    frames = [avi.payload(number, row * height) for number in range(3)]
    upright = [b"".join(frame[at:at + row] for at in range(row * (height - 1), -1, -row)) for frame in frames]
    note = ["its pictures are top-down and are stored bottom-up"]
    sizes = ([], ["--size", "5x4"])
    for stored, wanted, notes in ((-4, upright, note), (4, frames, [])):
        data = avi.simple_avi([avi.video(frames, width=5, height=stored, compression=bytes(4))])
        for options in sizes:
            report = recovered(kravi, data, *options, code=0)
            check_content(kravi, report, wanted, None, f"height {stored}, {options}")
            equal((report["width"], report["height"], report["notes"]), (5, 4, notes), f"height {stored}, {options}")
            if kravi.is_emulated:
                return
    data = avi.simple_avi([avi.video([*frames, frames[0][:-row]], width=5, height=-4, compression=bytes(4))])
    for options in sizes:
        report = recovered(kravi, data, *options)
        check_content(kravi, report, [*upright, frames[0][:-row]], None, "a short frame")
        equal(report["findings"], ["still top-down: 1 frame of another size than 64 bytes"], "findings")


def test_frames_that_depend_on_others(kravi):
    for kind, build in (("idx1", avi.simple_avi), ("odml", avi.open_dml_avi)):
        streams = avi.standard_streams(9)
        streams[0].keys = {0, 4}
        data = bytearray(build(streams))
        at = header_at(streams[0], 7)
        data[at:at + 8] = bytes(8)
        note = "{} frames of stream 0 depend on others per the source index; the new index cannot record it"
        equal(recovered(kravi, data)["notes"], [note.format(6)], kind)
        # The index of the first segment, of five frames, still exists.
        equal(recovered(kravi, data[:at])["notes"], [note.format(3)] if kind == "odml" else [], f"{kind}: cut")


def test_refused(kravi):
    kravi.write("text.avi", b"This is no AVI file, and nothing in it looks like a chunk. " * 50)
    kravi.write("empty.avi", b"")
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(3)))
    kravi.write("there.avi", b"x")
    refused(kravi, "no whole frame", "recover", "text.avi", "out.avi", "--size", "64x48", "--codec", "MJPG")
    refused(kravi, "no whole frame", "recover", "empty.avi", "out.avi")
    refused(kravi, "no such file", "recover", "missing.avi", "out.avi")
    refused(kravi, "--force", "recover", "in.avi", "there.avi")
    refused(kravi, "it is the input file", "recover", "in.avi", "in.avi", "--force")
    refused(kravi, "--size", "recover", "in.avi", "out.avi", "--size", "64")
    refused(kravi, "--codec", "recover", "in.avi", "out.avi", "--codec", "TOOLONG")
    refused(kravi, "--bits", "recover", "in.avi", "out.avi", "--bits", "0")
    refused(kravi, "--rate", "recover", "in.avi", "out.avi", "--rate", "26")
    for pcm in ("48000", "48000,2", "48000,2,16,", "48000,2,12", "0,2,16", "x,2,16", "48000,2,16,1"):
        refused(kravi, "--pcm", "recover", "in.avi", "out.avi", "--pcm", pcm)


def test_many_damages(kravi):
    """The list of regions ends after a hundred, the counts do not; time grows with the length only."""
    frames = [avi.payload(number, 40) for number in range(3000)]
    stream = avi.video(frames)
    data = bytearray(avi.simple_avi([stream], idx1=False))
    for place in range(0, 3000, 3):
        data[header_at(stream, place)] ^= 0x80
    report = recovered(kravi, data)
    check_content(kravi, report, without(frames, *range(0, 3000, 3)), None, "content")
    equal((len(report["damagedRegions"]), report["damagedRegionCount"], report["bytesSkipped"]),
          (100, 1000, 1000 * 48), "report")
    ids = b"00dc\xfb\xff\x0f\0" * 200000
    start = time.monotonic()
    report = recovered(kravi, avi.simple_avi(avi.standard_streams(2), idx1=False) + ids)
    check(time.monotonic() - start < 60, "time")
    check(report["frames"] in (2, 3), "frames in front of ids")  # one of them can be a chunk followed by garbage


def chunks_in(data):
    """Payloads of a file that lacks only its end, chunk by chunk: frames, blocks of sound."""
    found, position = {b"dc": [], b"db": [], b"wb": []}, 0
    while position + 8 <= len(data):
        name, size = data[position:position + 4], struct.unpack_from("<I", data, position + 4)[0]
        if name in (b"RIFF", b"LIST"):
            position += 12
            continue
        if position + 8 + size > len(data):
            break
        if name[2:] in found and size > 0:
            found[name[2:]].append(data[position + 8:position + 8 + size])
        position += 8 + size + size % 2
    return found[b"dc"] + found[b"db"], found[b"wb"]


def killed_recording(kravi, command):
    """The file on disk of a killed recording program."""
    process = subprocess.Popen([*command, kravi.path("killed.avi")] if command[0] == "ffmpeg" else command,
                               cwd=kravi.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    deadline = time.monotonic() + 30
    while time.monotonic() < deadline and process.poll() is None:
        time.sleep(1)
        if os.path.exists(kravi.path("killed.avi")) and len(kravi.read("killed.avi")) > 200000:
            break
    process.send_signal(signal.SIGKILL)
    process.wait()
    return kravi.read("killed.avi")


def check_killed(kravi, command):
    data = killed_recording(kravi, command)
    video, audio = chunks_in(data)
    check(len(video) > 0 and len(audio) > 0, f"{len(data)} bytes recorded")
    kravi.write("in.avi", data)
    result = kravi("recover", "in.avi", "out.avi", "--json")
    check(result.code in (0, 1), str(result))
    check_content(kravi, result.json(), video, audio, command[0])
    equal(kravi.read("in.avi"), data, "what was read")


def test_killed_ffmpeg(kravi):
    if kravi.is_emulated or not shutil.which("ffmpeg"):
        return
    check_killed(kravi, ["ffmpeg", "-v", "error", "-y", "-re", "-f", "lavfi", "-i", "testsrc=rate=25:size=320x240",
                         "-re", "-f", "lavfi", "-i", "sine=sample_rate=48000", "-c:v", "mjpeg", "-q:v", "2",
                         "-c:a", "pcm_s16le", "-ac", "2"])


def test_killed_gstreamer(kravi):
    if kravi.is_emulated or not shutil.which("gst-launch-1.0"):
        return
    pipeline = ("videotestsrc is-live=true ! video/x-raw,width=320,height=240,framerate=25/1 ! jpegenc ! "
                "avimux name=m ! filesink buffer-mode=unbuffered location=killed.avi "
                "audiotestsrc is-live=true ! audio/x-raw,format=S16LE,rate=48000,channels=2 ! m.")
    check_killed(kravi, ["gst-launch-1.0", "-q", *pipeline.split()])
