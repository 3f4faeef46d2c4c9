"""reindex: sizes, counts and indexes are right afterwards, every whole chunk is in them, and undo restores the file."""

import random
import shutil
import struct
import subprocess

import avi_builder as avi
import verify_damages
from cases_mend import UNDO, info_list, undone
from kravi_runner import check, equal, exit_code

# What is wrong afterwards with a file that had nothing but wrong sizes, counts and indexes.
LEFT = {"rec-list", "idx1-absent", "chunk-empty", "movi-first-not-data"}

# What reindex is about: none of these is left in any damaged file.
MENDED = {"segment-beyond-file", "segment-size-unset", "segment-overlap", "list-size-unset", "list-overruns-list", "chunk-cut",
          "avih-frames", "avih-no-index-flag", "avih-streams", "strh-length", "dmlh-frames", "index-missing", "idx1-offset-zero",
          "idx1-offset-repeated", "idx1-entry-no-chunk", "idx1-entry-in-chunk", "idx1-size-differs", "idx1-id-differs",
          "idx1-id-unknown", "idx1-out-of-order", "idx1-chunk-missing", "indx-empty", "indx-count", "indx-entry-zero",
          "indx-entry-repeated", "indx-entry-no-index", "indx-entry-size", "indx-duration", "indx-out-of-order", "ix-unreferenced",
          "ix-short", "ix-shape", "ix-count", "ix-offset-at-header", "ix-offset-repeated", "ix-entry-no-chunk",
          "ix-entry-in-chunk", "ix-size-differs", "ix-other-stream", "ix-out-of-order", "ix-chunk-missing"}

BUILDERS = {"idx1": avi.simple_avi, "odml": avi.open_dml_avi, "one": lambda streams: avi.open_dml_avi(streams, segments=1),
            "three": lambda streams: avi.open_dml_avi(streams, segments=3), "rec": lambda streams: avi.simple_avi(streams, groups=3),
            "none": lambda streams: avi.simple_avi(streams, idx1=False)}


def codes(kravi):
    return {row["code"] for row in kravi("verify", "in.avi", "--json").json()["results"]}


def reindexed(kravi, data, code=None):
    """The report and the new file, after a second run that changes nothing and an undo."""
    kravi.write("in.avi", data)
    result = kravi("reindex", "in.avi", "--json")
    check(result.code in ((0, 1) if code is None else (code,)), f"{result}")
    report, new, found = result.json(), kravi.read("in.avi"), codes(kravi)
    equal(len(new), report["length"], "length")
    again = kravi("reindex", "in.avi", "--json").json()
    equal((again["bytesChanged"], again["undoFile"]), (0, None), "a second time")
    if report["bytesChanged"]:
        undone(kravi)
    check(kravi.read("in.avi") == data, "undo")
    equal(kravi.names(), ["in.avi"], "files")
    return report, new, found


def indexed(kravi, new):
    """Position and size of all chunks according to the new indexes, by stream."""
    kravi.write("in.avi", new)
    report = exit_code(kravi("index", "in.avi", "--json"), 0).json()
    return [[(row["position"], row["size"]) for row in report[entries]] for entries in ("videoEntries", "audioEntries")]


def whole(streams, length):
    """The chunks of a file that was cut to a length."""
    return [[(position, len(chunk)) for position, chunk in zip(stream.positions, stream.chunks) if position + len(chunk) <= length]
            for stream in streams]


def test_cut_files(kravi):
    places = random.Random(11)
    for number in range(kravi.rounds(60)):
        kind = sorted(BUILDERS)[number % len(BUILDERS)]
        streams = avi.standard_streams(7)
        data = BUILDERS[kind](streams)
        cut = places.randrange(streams[1].positions[0] + 7681, len(data))
        what = f"{kind} cut at {cut}"
        report, new, found = reindexed(kravi, data[:cut])
        check(found <= LEFT, f"{what}: {found}")
        equal([stream["chunks"] for stream in report["streams"]], [len(chunks) for chunks in whole(streams, cut)], what)
        check(len(new) <= cut + 400, f"{what}: {len(new)} bytes")
        if kind != "rec":
            equal(indexed(kravi, new), whole(streams, cut), what)


def test_files_that_were_never_closed(kravi):
    for kind, build in BUILDERS.items():
        for size in (0, 0xFFFFFFFF):
            streams = avi.standard_streams(6)
            data = bytearray(build(streams))
            end = streams[1].positions[-1] + 7680  # without the last indexes
            del data[end:]
            last = data.rindex(b"RIFF")
            for place in (last + 4, data.index(b"movi", last) - 4):
                struct.pack_into("<I", data, place, size)
            for name, place in ((b"strh", 32), (b"avih", 16)):
                struct.pack_into("<I", data, data.index(name) + 8 + place, 0)
            report, new, found = reindexed(kravi, bytes(data), code=0)
            check(found <= LEFT, f"{kind}, {size}: {found}")
            equal((report["cutChunks"], report["bytesSkipped"]), (0, 0), f"{kind}: losses")
            kravi.write("in.avi", new)
            if kind != "rec":
                equal(indexed(kravi, new), whole(streams, end), f"{kind}, {size}")


def test_every_damage_of_verify(kravi):
    """Whatever is wrong: nothing of what reindex is about is left, or the file is refused and as it was."""
    rows = {(row.base, row.name): row for value in vars(verify_damages).values() if isinstance(value, list)
            for row in value if isinstance(row, verify_damages.Row)}
    refusals = 0
    tried = kravi.rounds(len(rows))
    for row in list(rows.values())[:tried]:
        data, _, _ = verify_damages.damaged(row)
        kravi.write("in.avi", data)
        result = kravi("reindex", "in.avi")
        if result.code == 2:
            check("kravi rec" in result.err or "kravi rewrap" in result.err, f"{row.name}: {result}")
            check(kravi.read("in.avi") == data and kravi.names() == ["in.avi"], f"{row.name}: changed")
            refusals += 1
            continue
        if UNDO not in "".join(kravi.names()):
            equal(codes(kravi) & MENDED, set(), f"{row.base}: {row.name}")
            continue
        exit_code(kravi("undo", "in.avi"), 0)
        _, _, found = reindexed(kravi, data)
        equal(found & MENDED, set(), f"{row.base}: {row.name}")
    check(0 < refusals < 20 or tried < len(rows), f"{refusals} of {tried} refused")


def entries_of(new):
    at = new.index(b"idx1")
    size = struct.unpack_from("<I", new, at + 4)[0]
    return [struct.unpack_from("<4sIII", new, place) for place in range(at + 8, at + 8 + size, 16)]


def test_where_the_index_goes(kravi):
    """In the place of the old one, filled up; or at the end, where others follow the old one."""
    streams = avi.standard_streams(6)
    data = avi.simple_avi(streams)
    at = data.index(b"idx1")
    zeroed = data[:at + 8] + bytes(len(data) - at - 8)
    report, new, _ = reindexed(kravi, zeroed, code=0)
    equal((new, report["idx1Entries"]), (data, 12), "in place")

    def with_riff(body):
        return body[:4] + struct.pack("<I", len(body) - 8) + body[8:]

    larger = with_riff(data[:at] + avi.chunk(b"idx1", bytes(16 * 20)))
    _, new, found = reindexed(kravi, larger, code=0)
    equal((new[:at + 200], found), (larger[:4] + larger[4:at] + data[at:at + 200], set()), "and filler")
    equal(new[at + 200:at + 208], b"JUNK" + struct.pack("<I", 16 * 8 - 8), "filler")
    texts = info_list((b"INAM", b"a title"))
    smaller = with_riff(data[:at] + data[at:at + 4] + struct.pack("<I", 64) + data[at + 8:at + 72] + texts)
    _, new, found = reindexed(kravi, smaller, code=0)
    equal((new[at:at + 4], len(new), found), (b"JUNK", len(smaller) + 200, set()), "at the end")
    equal(len(entries_of(new)), 12, "entries")
    broken = data[:at + 8] + bytes(range(64)) + data[at + 72:] + texts
    _, new, _ = reindexed(kravi, with_riff(broken), code=0)
    equal(new, with_riff(data + texts), "texts after the index")


def test_chunks_of_wrong_size(kravi):
    """They get the size that an index has, and become filler without one."""
    for build in (avi.simple_avi, avi.open_dml_avi):
        streams = avi.standard_streams(6)
        whole_file = build(streams)
        for size in (0x7FFFFFFF, 20000, 8300, 100):
            data = bytearray(whole_file)
            struct.pack_into("<I", data, streams[0].positions[2] - 4, size)
            report, new, _ = reindexed(kravi, bytes(data), code=0)
            equal((report["sizesRepaired"], report["cutChunks"]), (1, 0), f"{size}")
            check(new == whole_file, f"{size}: repaired")
    streams = avi.standard_streams(6)
    data = bytearray(avi.simple_avi(streams, idx1=False))
    struct.pack_into("<I", data, streams[0].positions[2] - 4, 0x7FFFFFFF)
    report, new, found = reindexed(kravi, bytes(data), code=1)
    equal((report["cutChunks"], found & MENDED), (1, set()), "report")
    equal(new[streams[0].positions[2] - 8:][:8], b"JUNK" + struct.pack("<I", 304), "filler")
    equal(report["findings"], ["lost because their data are incomplete: 1 chunk", "in no whole chunk: 312 bytes"], "findings")
    data, place = avi.simple_avi(streams), streams[0].positions[3] - 8
    report, new, found = reindexed(kravi, data[:place] + b"\xee" * 100 + data[place:], code=1)
    equal((len(entries_of(new)), report["bytesSkipped"], found), (12, 100, set()), "bytes that were inserted")


def test_key_frames(kravi):
    """Those of the old index are kept; others say so themselves, or count as key frames."""
    for kind in ("idx1", "odml"):
        streams = avi.standard_streams(9)
        streams[0].keys = {0, 4}
        streams[0].fmt = avi.video_format(compression=b"abcd")  # whose frames do not say so
        data = bytearray(BUILDERS[kind](streams))
        entry = data.index(b"idx1") + 8 + 16 * 6 if kind == "idx1" else data.index(b"ix00") + 32 + 8 * 3
        data[entry:entry + 8] = bytes(8)
        _, new, found = reindexed(kravi, bytes(data), code=0)
        check(found <= LEFT, f"{kind}: {found}")
        kravi.write("in.avi", new)
        rows = exit_code(kravi("index", "in.avi", "--stream", "0", "--json"), 0).json()["streamEntries"]
        equal([row["number"] for row in rows if row["keyFrame"]], [0, 4], f"{kind}: key frames")
    vop = [b"\0\0\1\xb6" + (b"\x10" if number % 4 == 0 else b"\x50") + avi.payload(number, 90) for number in range(9)]
    data = avi.simple_avi([avi.video(vop, compression=b"XVID")], idx1=False)
    _, new, _ = reindexed(kravi, data, code=0)
    equal([flags for _, flags, _, _ in entries_of(new)], [0x10 if number % 4 == 0 else 0 for number in range(9)], "by bytes")


def test_several_streams_and_palettes(kravi):
    streams = [*avi.standard_streams(5, audio=2), avi.Stream(b"txts", b"", [b"subtitle", b"another"])]
    data = avi.simple_avi(streams)
    at = data.index(b"idx1")
    _, new, _ = reindexed(kravi, data[:at + 8] + bytes(len(data) - at - 8))
    equal(new, data, "all streams")
    palette = avi.chunk(b"00pc", b"\0\1\0\0abcd")
    place = streams[0].positions[1] - 8
    inserted = bytearray(data[:place] + palette + data[place:at])
    for size in (4, data.index(b"movi") - 4):
        struct.pack_into("<I", inserted, size, struct.unpack_from("<I", inserted, size)[0] + len(palette))
    _, new, _ = reindexed(kravi, bytes(inserted), code=0)
    equal([(name, flags) for name, flags, _, _ in entries_of(new) if name == b"00pc"], [(b"00pc", 0x100)], "palette")


def test_with_set_and_undo(kravi):
    streams = avi.standard_streams(6)
    data = avi.simple_avi(streams)[:streams[0].positions[4] + 9]
    kravi.write("in.avi", data)
    exit_code(kravi("reindex", "in.avi"), 1)
    first = kravi.read("in.avi")
    exit_code(kravi("set", "in.avi", "--rate", "50"), 0)
    equal((undone(kravi)["undone"], kravi.read("in.avi") == first), ("set", True), "set")
    report = undone(kravi)
    equal((report["undone"], report["length"], kravi.read("in.avi") == data), ("reindex", len(data), True), "reindex")


def test_what_cannot_be_mended(kravi):
    streams = avi.standard_streams(6)
    odml = avi.open_dml_avi(streams)
    at = odml.rindex(b"ix00")  # the indexes of a last segment are gone, and texts follow its data
    gone = odml[:at].ljust(len(odml), b"\0")
    texts = bytearray(gone + info_list((b"INAM", b"a title")))
    struct.pack_into("<I", texts, texts.rindex(b"RIFF") + 4, len(texts) - texts.rindex(b"RIFF") - 8)
    for words, data in (("has no place for an index of its own", bytes(texts)),
                        ("no super indexes", odml.replace(b"indx", b"JUNK")), ("not begin with the header of an AVI file", b"x" * 500),
                        ("no headers of streams", avi.chunk(b"RIFF", b"AVI " + bytes(400))),
                        ("no whole frame and no sound", avi.simple_avi([avi.video([])])),
                        ("no whole header", avi.simple_avi(streams).replace(b"strh8", b"strh\x10", 1))):
        kravi.write("in.avi", data)
        result = exit_code(kravi("reindex", "in.avi", "--json"), 2)
        check(words in result.json()["error"]["cause"] and "kravi rec" in result.err, f"{words}: {result}")
        equal((kravi.read("in.avi") == data, kravi.names()), (True, ["in.avi"]), words)
    report, _, found = reindexed(kravi, gone)  # without them there is a place
    equal((report["standardIndexes"], found - LEFT), (4, set()), "at the end of 'movi'")


def test_places_without_number(kravi):
    """Each would be kept, written and remembered for undo."""
    data = bytearray(avi.simple_avi(avi.standard_streams(3), idx1=False))
    for place in (4, data.index(b"movi") - 4):
        struct.pack_into("<I", data, place, 0)
    good = (b"00dc\2\0\0\0ab" * 2 + b"\xee" * 8) * 300
    report, _, found = reindexed(kravi, bytes(data) + good)
    equal((report["bytesSkipped"], found & MENDED), (300 * 8, set()), "some places")
    for more in (good * 230, (b"LIST\0\0\0\0rec " + b"00dc\2\0\0\0ab") * 66000, b"RIFF\x04\0\0\0AVIX" * 66000):
        kravi.write("in.avi", bytes(data) + more)
        result = exit_code(kravi("reindex", "in.avi"), 2)
        check("too many chunks or damaged places" in result.err and kravi.names() == ["in.avi"], f"{more[:4]}: {result}")


def test_files_of_ffmpeg(kravi):
    """Cut after 40 of 50 frames: as many are read, with the same key frames as before."""
    if kravi.is_emulated or not shutil.which("ffmpeg"):
        return
    command = ["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=s=160x120:r=25:d=2", "-f", "lavfi", "-i", "sine=d=2",
               "-c:v", "mpeg4", "-g", "12", "-c:a", "mp3", kravi.path("in.avi")]
    subprocess.run(command, stdin=subprocess.DEVNULL, check=True)
    probe = ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pos,size,flags", "-of", "csv", kravi.path("in.avi")]

    def packets():
        return subprocess.run(probe, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()

    data, before = kravi.read("in.avi"), packets()
    at = int(before[40].split(",")[2]) + 30
    _, new, found = reindexed(kravi, data[:at], code=1)
    check(found <= LEFT, f"{found}")
    kravi.write("in.avi", new)
    equal(packets(), before[:40], "packets")
