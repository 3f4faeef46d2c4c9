"""rewrap carries a file whole, reports what is wrong with it, and never follows an index entry that leads nowhere."""

import os
import struct
import subprocess
import tempfile

import avi_builder as avi
import avi_reader
from cases_cut import cut
from kravi_runner import check, equal, exit_code

KEY, NO_TIME = 0x10, 0x100


def carried(kravi, data, *options, code=0, verb="rewrap"):
    """The bytes of a copy, and its report."""
    kravi.write("in.avi", data)
    report = exit_code(kravi(verb, "in.avi", "out.avi", "--force", "--json", *options), code).json()
    return kravi.read("out.avi"), report


def with_extra_header(data, *parts):
    """Puts chunks at the end of 'hdrl'."""
    size = struct.unpack_from("<I", data, 16)[0]
    grown = data[:20 + size] + b"".join(parts) + data[20 + size:]
    added = len(grown) - len(data)
    return grown[:4] + struct.pack("<I", len(grown) - 8) + grown[8:16] + struct.pack("<I", size + added) + grown[20:]


def put(data, place, part):
    return data[:place] + part + data[place + len(part):]


def test_headers_are_the_same_bytes(kravi):
    streams = avi.standard_streams(6, audio=2)
    streams[0].fmt += avi.payload(1, 33)  # of odd length, as settings of a codec
    streams[0].fmt = struct.pack("<I", len(streams[0].fmt)) + streams[0].fmt[4:]
    streams[1].fmt += struct.pack("<H", 3) + b"abc"
    streams[2].name, streams[2].start = b"Commentary\0", 4321
    info = avi.lst(b"INFO", avi.chunk(b"INAM", b"Harbour\0"), avi.chunk(b"ICOP", b"2019\0"))
    private = avi.chunk(b"Prvt", avi.payload(3, 77)) + avi.private_chunks(0)
    data = with_extra_header(avi.simple_avi(streams, before_movi=info + private),
                             avi.chunk(b"IDIT", b"SAT MAY 04 12:00:00 2019\n\0"), avi.chunk(b"Hdrs", b"unknown"))
    trailing = avi.chunk(b"JUNK", bytes(12)) + avi.lst(b"INFO", avi.chunk(b"IART", b"Someone\0"))
    data = put(data + trailing, 4, struct.pack("<I", len(data) + len(trailing) - 8))
    copy, _ = carried(kravi, data)
    old, new = avi_reader.streams(data), avi_reader.streams(copy)
    equal(new, old, "chunks of the streams")
    for path in ((b"hdrl",), ()):
        names = [[row[0::3] for row in avi_reader.inside(avi_reader.segments(one)[0], *path)
                  if row[0] not in (b"JUNK", b"avih", b"idx1") and row[1] not in (b"strl", b"hdrl", b"movi")]
                 for one in (data, copy)]
        equal(names[1], names[0], f"other chunks of {path}")
        check(len(names[0]) > 1, f"{names}")
    equal(avi_reader.data_chunks(copy), avi_reader.data_chunks(data), "data")
    again, _ = carried(kravi, copy)
    check(again == copy, "a copy of a copy is the same")


def test_key_frames_and_empty_frames(kravi):
    streams = avi.standard_streams(12)
    streams[0].keys, streams[0].chunks[5] = {0, 6}, b""
    for build in (avi.simple_avi, lambda made: avi.open_dml_avi(made, segments=3)):
        copy, report = carried(kravi, build(streams))
        equal([flags for name, flags in avi_reader.old_index(copy) if name == b"00dc"],
              [KEY if number in (0, 6) else 0 for number in range(12)], "key frames")
        equal(avi_reader.of_stream(copy, 0), streams[0].chunks, "frames")
        equal((report["frames"], report["notes"]), (12, []), "report")
    kravi.write("copy.avi", copy)
    check("not a key frame" in cut(kravi, "copy.avi", "out.avi", "--from", "3", code=1)["findings"][0], "a cut of the copy warns")


def test_streams_of_every_kind(kravi):
    """Two pictures, two sounds, one of them coded in packets, a text, and one of an unknown type."""
    streams = avi.standard_streams(8)
    coded = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1152, 0, 0)
    streams.append(avi.Stream(b"auds", coded, [avi.payload(9 + number, 96 + number) for number in range(9)], 1152, 48000))
    streams.append(avi.Stream(b"txts", b"", [b"one", b"", b"three"], 1, 1))
    streams.append(avi.video([avi.payload(50 + number, 41) for number in range(4)], rate=12, compression=b"\0\0\0\0"))
    streams.append(avi.Stream(b"mids", b"midi", [b"beat"] * 3))
    data = avi.simple_avi(streams)
    copy, report = carried(kravi, data)
    equal(avi_reader.data_chunks(copy), avi_reader.data_chunks(data), "data in order")
    equal([(row["type"], row["chunks"]) for row in report["streams"]],
          [("vids", 8), ("auds", 8), ("auds", 9), ("txts", 3), ("vids", 4), ("mids", 3)], "report")
    equal(avi_reader.streams(copy), avi_reader.streams(data), "headers")
    copy, report = carried(kravi, data, "--video", "4", "--audio", "2")
    equal([row["type"] for row in report["streams"]], ["auds", "txts", "vids", "mids"], "streams that are taken")
    equal(avi_reader.of_stream(copy, 2), streams[4].chunks, "the second picture is stream 2 now")
    copy, report = carried(kravi, data, "--no-audio", "--rate", "30000/1001")
    equal((report["frameRate"], len(report["streams"])), ("29.97", 4), "rate")


def test_streams_of_two_digits(kravi):
    data = avi.simple_avi([avi.video([b"picture"] * 3)] + [avi.pcm([avi.payload(number, 40)] * 3) for number in range(9)])
    copy, _ = carried(kravi, data)
    equal(avi_reader.data_chunks(copy), avi_reader.data_chunks(data), "data")


def test_palette_changes(kravi):
    """They take no time, and most writers leave them out of their indexes."""
    streams = avi.standard_streams(6, audio=0)
    streams[0].fmt = avi.video_format(bits=8, compression=b"\0\0\0\0") + bytes(1024)
    streams[0].fmt = struct.pack("<I", 40) + streams[0].fmt[4:]
    data = avi.simple_avi(streams)
    change = avi.chunk(b"00pc", b"\0\2\0\0" + b"rgb0" * 2)
    place = streams[0].positions[3] - 8
    grown = bytearray(data[:place] + change + data[place:])
    for field in (4, grown.index(b"movi") - 4):
        struct.pack_into("<I", grown, field, struct.unpack_from("<I", grown, field)[0] + len(change))
    index = grown.index(b"idx1") + 8
    for entry in range(3, 6):
        offset = index + 16 * entry + 8
        struct.pack_into("<I", grown, offset, struct.unpack_from("<I", grown, offset)[0] + len(change))
    copy, report = carried(kravi, bytes(grown))
    equal(avi_reader.data_chunks(copy), avi_reader.data_chunks(bytes(grown)), "data")
    equal((report["frames"], len(avi_reader.old_index(copy))), (6, 6), "frames and entries")
    report = cut(kravi, "in.avi", "out.avi", "--from", "4")
    equal([name for name, _ in avi_reader.data_chunks(kravi.read("out.avi"))], [b"00pc", b"00dc", b"00dc"],
          "a cut keeps the palette")
    entry = struct.pack("<4sIII", b"00pc", NO_TIME, place - (data.index(b"movi")), len(change) - 8)
    grown[index + 48:index + 48] = entry  # before that of frame 3
    for field in (4, index - 4):
        struct.pack_into("<I", grown, field, struct.unpack_from("<I", grown, field)[0] + 16)
    copy, report = carried(kravi, bytes(grown))
    equal((report["frames"], avi_reader.old_index(copy)[3]), (6, (b"00pc", NO_TIME)), "an entry stays an entry")


def test_groups_fillers_and_segments(kravi):
    streams = avi.standard_streams(12)
    for what, data in (("groups", avi.simple_avi(streams, groups=3)), ("segments", avi.open_dml_avi(streams, segments=4)),
                       ("absolute", avi.simple_avi(streams, relative=False))):
        copy, _ = carried(kravi, data)
        equal([avi_reader.of_stream(copy, number) for number in (0, 1)], [stream.chunks for stream in streams], what)
    exit_code(kravi("rewrap", "in.avi", "recording.avi", "--layout", "recording"), 0)  # has fillers after all chunks
    copy, report = carried(kravi, kravi.read("recording.avi"))
    equal(avi_reader.of_stream(copy, 0), streams[0].chunks, "recording")
    equal((report["notes"], report["findings"]), ([], []), "report")


def test_entries_that_lead_nowhere(kravi):
    """200 entries of an index overwritten by zeros, and others by numbers: all frames are there, and are copied."""
    streams = avi.standard_streams(30)
    data = avi.simple_avi(streams)
    index = data.index(b"idx1") + 8
    content = [stream.chunks for stream in streams]
    zeroed = put(data, index + 16 * 20, bytes(16 * 24))
    copy, report = carried(kravi, zeroed, code=1)
    equal([avi_reader.of_stream(copy, number) for number in (0, 1)], content, "zeroed entries")
    equal(report["findings"], ["missing in the index of stream 0: 12 chunks, copied nevertheless",
                               "missing in the index of stream 1: 12 chunks, copied nevertheless"], "findings")
    wrong = bytearray(data)
    for entry in range(10, 16):
        struct.pack_into("<I", wrong, index + 16 * entry + 8, 7777 + entry)
    copy, report = carried(kravi, bytes(wrong), code=1)
    equal([avi_reader.of_stream(copy, number) for number in (0, 1)], content, "wrong entries")
    equal(report["findings"], [f"not at a chunk of stream {number}: 3 entries of its index; all chunks are taken from a scan of "
                               "the file" for number in (0, 1)], "findings")
    report = exit_code(kravi("cut", "in.avi", "out.avi", "--to", "20", "--force", "--json"), 1).json()
    equal(avi_reader.of_stream(kravi.read("out.avi"), 0), streams[0].chunks[:21], "a cut")


def test_entries_that_lead_many_times_to_one_place(kravi):
    """Copying them would make a file of any size."""
    streams = [avi.video([avi.payload(number, 5000) for number in range(4)])]
    data = avi.simple_avi(streams)
    index = data.index(b"idx1") + 8
    entries = data[index:index + 16] * 400
    data = data[:index - 4] + struct.pack("<I", len(entries)) + entries
    copy, report = carried(kravi, put(data, 4, struct.pack("<I", len(data) - 8)), code=1)
    equal(avi_reader.of_stream(copy, 0), streams[0].chunks, "frames")
    check("larger in total than the file" in report["findings"][0], str(report["findings"]))


def test_bytes_that_were_removed(kravi):
    streams = avi.standard_streams(30)
    data = avi.simple_avi(streams)
    first, last = streams[0].positions[10] + 50, streams[0].positions[14] + 50
    copy, report = carried(kravi, data[:first] + data[last:], code=1)
    # The hole joins the start of a frame and the end of another one; what is after it is whole.
    equal(avi_reader.of_stream(copy, 0)[-15:], streams[0].chunks[15:], "frames after the hole")
    equal(avi_reader.of_stream(copy, 0)[:10], streams[0].chunks[:10], "frames before the hole")
    check(any("its header announces 30" in text for text in report["findings"]), str(report["findings"]))
    check(any("in no whole chunk" in text for text in report["findings"]), str(report["findings"]))


def test_a_hole_of_zeros(kravi):
    streams = avi.standard_streams(30)
    data = avi.simple_avi(streams)
    first, last = streams[0].positions[10] - 8, streams[0].positions[13] - 8
    copy, report = carried(kravi, put(data, first, bytes(last - first)), code=1)
    equal([avi_reader.of_stream(copy, number) for number in (0, 1)],
          [stream.chunks[:10] + stream.chunks[13:] for stream in streams], "all but the zeros")
    check(any(text.startswith("not at a chunk of stream 0: 3 entries") for text in report["findings"]), str(report))


def test_frames_of_zeros(kravi):
    """A header that the zeros spared."""
    streams = avi.standard_streams(10)
    streams[0].chunks[4] = bytes(300)
    _, report = carried(kravi, avi.simple_avi(streams), code=1)
    equal(report["findings"], ["stream 0: 1 frame of zeros alone"], "findings")
    streams[0].fmt = avi.video_format(compression=b"\0\0\0\0")  # where it is a black picture
    equal(carried(kravi, avi.simple_avi(streams))[1]["findings"], [], "uncompressed")


def test_large_chunks(kravi):
    """They do not pass through kravi where the system can copy them: within a file system, and not from zeros."""
    frames = [avi.payload(1, 262144), bytes(64) + avi.payload(2, 300001), avi.payload(3, 262143), bytes(300000),
              avi.payload(4, 700001)]
    data = avi.simple_avi([avi.video(frames), avi.pcm([avi.payload(number, 999) for number in range(5)], 11025, 1, 8)])
    copy, report = carried(kravi, data, code=1)
    check(avi_reader.data_chunks(copy) == avi_reader.data_chunks(data), "data")
    equal(report["findings"], ["stream 0: 1 frame of zeros alone"], "findings")
    if os.path.isdir("/dev/shm") and not kravi.is_emulated:
        with tempfile.TemporaryDirectory(dir="/dev/shm") as elsewhere:
            exit_code(kravi("rewrap", "in.avi", os.path.join(elsewhere, "out.avi")), 1)
            with open(os.path.join(elsewhere, "out.avi"), "rb") as file:
                check(file.read() == copy, "a copy in another file system")


def test_a_file_that_ends_early(kravi):
    streams = avi.standard_streams(30)
    data = avi.open_dml_avi(streams, segments=3)
    end = streams[0].positions[25] + 9
    copy, report = carried(kravi, data[:end], code=1)
    equal([len(avi_reader.of_stream(copy, number)) for number in (0, 1)], [25, 25], "chunks")
    check(any("truncated" in text for text in report["findings"]), str(report["findings"]))
    kravi.write("in.avi", avi.simple_avi(streams)[:end])  # without its index
    copy, report = carried(kravi, avi.simple_avi(streams)[:streams[0].positions[25] + 9], code=1)
    equal(avi_reader.of_stream(copy, 0), streams[0].chunks[:25], "frames")


def test_nothing_guessed_is_stored(kravi):
    """Scan mode and aspect that nobody declared, in both layouts."""
    streams = avi.standard_streams(3)
    streams[0].fmt = avi.video_format(1920, 1080)
    for options in ((), ("--layout", "recording")):
        copy, _ = carried(kravi, avi.simple_avi(streams), *options)
        report = exit_code(kravi("info", "out.avi", "--json"), 0).json()
        equal([row["scanMode"] and row["scanMode"]["name"] for row in report["privateChunks"]].count("upper field first"), 0,
              f"{options}: {report['privateChunks']}")
        check((b"KrlA" in copy) == bool(options), f"{options}: private chunks")


def test_errors_of_writing_name_output_and_reason(kravi):
    if kravi.is_emulated:
        return
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(400)))
    for blocks in (1000, 2000, 4000):
        for options in ((), ("--layout", "recording")):
            done = subprocess.run(["sh", "-c", f'ulimit -f {blocks}; exec "$@"', "sh", *kravi.command, "rewrap", "in.avi",
                                   "out.avi", *options], cwd=kravi.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=60, check=False)
            equal((done.returncode, done.stderr.decode()), (2, "kravi: out.avi: it cannot be written: File too large\n"),
                  f"{blocks} blocks, {options}")
            equal(kravi.names(), ["in.avi"], "files")


def sparse_avi(kravi, name, frames, size):
    """Uncompressed pictures that take no space on the disk, each with its number, and sound between them."""
    streams = [avi.video([b""], compression=b"\0\0\0\0"), avi.pcm([b""])]
    head = bytearray(avi.simple_avi(streams, idx1=False))
    start = head.index(b"movi") + 4
    entries, position = b"", start
    with open(kravi.path(name), "wb") as file:
        for number in range(frames):
            file.seek(position)
            file.write(b"00db" + struct.pack("<IQ", size, number))
            entries += struct.pack("<4sIII", b"00db", KEY, position - start + 4, size)
            position += 8 + size
            file.seek(position)
            file.write(avi.chunk(b"01wb", avi.payload(number, 7680)))
            entries += struct.pack("<4sIII", b"01wb", KEY, position - start + 4, 7680)
            position += 8 + 7680
        file.write(avi.chunk(b"idx1", entries))
        struct.pack_into("<I", head, 4, position + len(entries))
        struct.pack_into("<I", head, start - 8, position - start + 4)
        struct.pack_into("<I", head, head.index(b"strh") + 8 + 32, frames)
        file.seek(0)
        file.write(head[:start])
    return name


def test_more_than_a_segment(kravi):
    if kravi.is_emulated:
        return  # it is about numbers alone, and large
    sparse_avi(kravi, "in.avi", 90, 24 << 20)
    report = exit_code(kravi("rewrap", "in.avi", "out.avi", "--json"), 0).json()
    equal((report["segments"], report["frames"], report["audioBytes"]), (3, 90, 90 * 7680), "report")
    check(os.path.getsize(kravi.path("out.avi")) > 2 << 30, "size")
    report = exit_code(kravi("index", "out.avi", "--json", "--check"), 0).json()
    equal((report["video"]["entries"], report["audio"]["entries"]), (90, 90), "entries")
    with open(kravi.path("out.avi"), "rb") as file:
        for entry in report["videoEntries"]:
            file.seek(entry["position"])
            equal(struct.unpack("<Q", file.read(8))[0], entry["number"], "frame")
