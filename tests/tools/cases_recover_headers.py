"""recover: headers that are damaged or lost, and the choice of streams and of their formats."""

import random
import struct

import avi_builder as avi
from cases_recover import check_content, header_at, recovered, without
from cases_write import refused
from kravi_runner import check, equal, exit_code


def test_scan_mode_and_aspect_of_a_cut_file(kravi):
    streams = avi.standard_streams(3, audio=0)
    streams[0].fmt = avi.video_format(720, 576)
    data = avi.simple_avi(streams, before_movi=avi.private_chunks(0, 64, 45))
    report = recovered(kravi, data[:streams[0].positions[2] + 7])
    check_content(kravi, report, streams[0].chunks[:2], None, "content")
    info = exit_code(kravi("info", "out.avi", "--json"), 0).json()
    equal(info["privateChunks"][0]["scanMode"]["value"], 0, "scan mode")
    check("64:45" in exit_code(kravi("info", "out.avi", "--full"), 0).out, "aspect")


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
