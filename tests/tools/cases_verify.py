"""verify: files with one known damage each, and the finding and position that must be reported."""

import os
import random
import struct

import avi_builder as avi
from cases_write import jpegs, sound, wave
from kravi_runner import check, equal, exit_code
from verify_damages import DAMAGES, base, damaged

DOCUMENT = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "verify.md")


def verified(kravi, data, code=None):
    result = kravi("verify", kravi.write("clip.avi", bytes(data)), "--json")
    check(result.code in (0, 1) if code is None else result.code == code, str(result))
    return result.json()


def codes(report):
    return {result["code"] for result in report["results"]}


def test_good_files_have_at_most_notes(kravi):
    for name, notes in (("simple", set()), ("private", set()), ("dml", {"idx1-absent"})):
        report = verified(kravi, base(name), 0)
        equal(codes(report), notes, name)
        equal(sum(report["bytes"].values()), len(base(name)), f"bytes of {name}")
        equal((report["counts"]["notes"], report["findings"]), (len(notes), []), name)


def test_every_damage_is_found_and_nothing_else(kravi):
    for row in DAMAGES:
        data, offset, wanted = damaged(row)
        report = verified(kravi, data)
        found = {result["code"]: result for result in report["results"]}
        equal(set(found), wanted, f"{row.name}: codes")
        place = found[row.code]["places"][0]
        equal(place["offset"], offset, f"{row.name}: offset of {row.code}")
        check(place["expected"] and place["found"] and place["expected"] != place["found"], f"{row.name}: {place}")
        severities = {result["severity"] for result in report["results"]}
        equal(bool(report["findings"]), bool(severities & {"error", "warning"}), f"{row.name}: findings")
        equal(sum(report["bytes"].values()), len(data), f"{row.name}: bytes")


def test_every_check_has_a_damage(kravi):
    listed = exit_code(kravi("verify", "--list-checks", "--json"), 0).json()["checks"]
    tried = set().union(*(damaged(row)[2] for row in DAMAGES))
    elsewhere = {"segment-beyond-1gib", "segment-beyond-2gib", "streams-too-many", "list-too-deep", "segments-too-many"}
    beyond = {"chunks-too-many"}  # a real file would have 16777217 chunks
    equal({entry["code"] for entry in listed} - tried - elsewhere, beyond, "checks without a damage")


def test_list_of_checks_text_and_document_agree(kravi):
    listed = exit_code(kravi("verify", "--list-checks", "--json"), 0).json()["checks"]
    check(len(listed) >= 100 and len({entry["code"] for entry in listed}) == len(listed), "codes")
    text = exit_code(kravi("verify", "--list-checks"), 0).out
    with open(DOCUMENT, encoding="utf-8") as file:
        rows = [line for line in file.read().splitlines() if line.startswith("| `")]
    equal(rows, [f"| `{entry['code']}` | {entry['severity']} | {entry['meaning']} | {entry['hint']} |"
                 for entry in listed], "the document's rows")
    for entry in listed:
        check(f"{entry['code']} ({entry['severity']})\n  {entry['meaning']}.\n" in text, f"text of {entry['code']}")


def test_files_that_kravi_wrote_have_only_notes(kravi):
    """Their oddities are intended: docs/verify.md gives the reasons."""
    notes = {"movi-first-not-data", "idx1-rest", "idx1-marker", "idx1-offsets-marked", "padding-by-filler"}
    jpegs(kravi, 30)
    kravi.write("in.wav", wave(sound(30)))
    exit_code(kravi("write", "own.avi", "--jpeg", "f%03d.jpg", "--audio", "in.wav", "--rate", "29.97"), 0)
    kravi.write("in.avi", base("simple"))
    exit_code(kravi("rewrap", "in.avi", "recording.avi", "--layout", "recording"), 0)
    exit_code(kravi("rewrap", "own.avi", "copy.avi"), 0)
    for name, wanted in (("own.avi", notes | {"avih-frame-time"}), ("recording.avi", notes), ("copy.avi", {"avih-frame-time"})):
        report = exit_code(kravi("verify", name, "--json"), 0).json()
        equal(codes(report), wanted, name)
        equal(report["bytes"]["unaccounted"], 0, name)


def test_arguments(kravi):
    check("FILE is required" in exit_code(kravi("verify"), 2).err, "no file")
    refused = exit_code(kravi("verify", "--list-checks", "clip.avi"), 2)
    check("--list-checks takes no FILE" in refused.err and not refused.out, str(refused))
    check("no such file" in exit_code(kravi("verify", "nowhere.avi", "--json"), 2).json()["error"]["cause"], "missing")
    kravi.write("text.avi", b"These are words, and more words follow them. " * 40)
    exit_code(kravi("verify", "text.avi"), 2)
    kravi.write("clip.avi", base("simple"))
    lines = exit_code(kravi("verify", "clip.avi", "--progress=json"), 0).err.splitlines()
    check(lines and all('"verb":"verify"' in line for line in lines), str(lines))


def test_text_matches(kravi):
    data, _, _ = damaged(next(row for row in DAMAGES if row.name == "frames in avih"))
    text = exit_code(kravi("verify", kravi.write("clip.avi", bytes(data))), 1).out
    check("warning avih-frames: " in text and "expected 6, found 7" in text, text)
    check(text.endswith("finding: 0 kinds of error, 1 kind of warning\n"), text)
    check(text.startswith("verdict                    0 kinds of error, 1 kind of warning\nfile  "), text)


def test_verdict_comes_first(kravi):
    """Of a good file, of one with notes, and of one with errors."""
    for name, verdict, words in (("simple", "good", "good"), ("dml", "good", "good, with 1 kind of note"),
                                 ("plain", "errors", "1 kind of error, 0 kinds of warning"),
                                 ("absolute", "warnings", "0 kinds of error, 1 kind of warning")):
        report = verified(kravi, base(name))
        equal((list(report)[0], report["verdict"]), ("verdict", verdict), name)
        equal(kravi("verify", "clip.avi").out.splitlines()[0], f"verdict                    {words}", name)


def far(report):
    """What was found of sound that is far from its picture."""
    return [place["found"] for result in report["results"] if result["code"] == "sound-far" for place in result["places"]]


def test_sound_far_from_its_picture(kravi):
    streams = avi.standard_streams(750, audio=2)
    for stream in streams:
        stream.chunks = [chunk[:320] for chunk in stream.chunks]
    for stream in streams[1:]:
        stream.fmt, stream.rate = avi.pcm_format(2000), 2000
    video, first, second = ([(number, place) for place in range(750)] for number in range(3))
    pairs = [pair for place in range(750) for pair in (video[place], first[place])]
    late = avi.simple_avi(streams, order=pairs + second)
    equal(far(verified(kravi, late, 1)), ["stream 2 29.960 s late"], "all of a stream after the pictures")
    for limit, code in (("29.95", 1), ("29.96", 0), ("30", 0), ("0", 1)):
        exit_code(kravi("verify", "clip.avi", "--interleave", limit), code)
    early = avi.simple_avi(streams, order=second + pairs)
    equal(far(verified(kravi, early, 1)), ["stream 2 29.960 s early"], "all of a stream before the pictures")
    short = [pair for pair in pairs + second if pair[0] != 2 or pair[1] < 20]
    streams[2].chunks = streams[2].chunks[:20]
    equal(far(verified(kravi, avi.simple_avi(streams, order=short), 0)), [], "sound that ends early")
    for wrong in ("-1", "a", "1e3", "nan", ""):
        exit_code(kravi("verify", "clip.avi", f"--interleave={wrong}"), 2)


def test_holes_do_not_move_the_sound(kravi):
    """Lost sound has its place in the index; without an index the time after a hole is not known."""
    streams = avi.standard_streams(120)
    for idx1 in (True, False):
        data = bytearray(avi.simple_avi(streams, idx1=idx1))
        for position in streams[1].positions[20:80]:
            data[position - 8:position + 7680] = bytes(7688)
        report = verified(kravi, data, 1)
        check("zero-run" in codes(report), str(codes(report)))
        equal(far(report), [], f"index {idx1}")


def test_repeated_frames_wait_for_no_sound(kravi):
    """A video stream that starts late begins with empty chunks, after the sound of that time."""
    streams = avi.standard_streams(100)
    streams[0].chunks[:40] = [b""] * 40
    order = [(1, place) for place in range(40)] + [(0, place) for place in range(40)]
    order += [pair for place in range(40, 100) for pair in ((0, place), (1, place))]
    data = avi.simple_avi(streams, order=order)
    equal(far(verified(kravi, data)), [], "repeated frames")
    exit_code(kravi("map", "clip.avi", "-o", "map.svg"), 0)
    streams[0].chunks[0] = bytes(300)
    equal(far(verified(kravi, avi.simple_avi(streams, order=order))), ["stream 1 1.560 s early"], "a frame with data")


def test_long_blocks_of_sound_begin_at_their_picture(kravi):
    streams = [avi.video([avi.payload(place, 300) for place in range(250)]),
               avi.pcm([bytes(16000)] * 5, rate=4000, channels=1)]
    order = [pair for block in range(5) for pair in [(1, block)] + [(0, 50 * block + place) for place in range(50)]]
    equal(far(verified(kravi, avi.simple_avi(streams, order=order), 0)), [], "blocks of two seconds")


def test_one_frame_of_sound_is_never_far(kravi):
    streams = [avi.video([avi.payload(place, 300) for place in range(6)], rate=1, scale=4),
               avi.pcm([bytes(32000)] * 6, rate=4000, channels=1)]
    equal(far(verified(kravi, avi.simple_avi(streams, order=[pair for place in range(6) for pair in ((1, place), (0, place))]),
                       0)), [], "a frame each four seconds")


def test_many_places_are_summed_up(kravi):
    data = bytearray(avi.simple_avi([avi.video([b"ab"] * 3000)]))
    index = data.rindex(b"idx1") + 8
    for entry in range(3000):
        struct.pack_into("<I", data, index + 16 * entry + 12, 3)
    result = kravi("verify", kravi.write("clip.avi", bytes(data)), "--json")
    [found] = result.json()["results"]
    equal((found["code"], found["count"], len(found["places"])), ("idx1-size-differs", 3000, 5), "result")
    check(len(result.out) < 4000, "length of the report")
    check("and 2995 more" in kravi("verify", "clip.avi").out, "text")


def test_segments_beyond_their_limits(kravi):
    """Holes take no space on the disk."""
    data = avi.simple_avi(avi.standard_streams(2))
    index = data.rindex(b"idx1")
    movi = data.index(b"movi")
    for size, code in ((1 << 30, "segment-beyond-1gib"), (1 << 31, "segment-beyond-2gib")):
        head = bytearray(data[:index] + b"JUNK" + struct.pack("<I", size))
        struct.pack_into("<I", head, 4, len(data) + size)
        struct.pack_into("<I", head, movi - 4, struct.unpack_from("<I", head, movi - 4)[0] + size + 8)
        with open(kravi.path("large.avi"), "wb") as file:
            file.write(head)
            file.seek(index + 8 + size)
            file.write(data[index:])
        report = kravi("verify", "large.avi", "--json").json()
        equal(codes(report), {code}, f"{size} bytes")
        equal(report["bytes"]["filler"], size, "filler")


def test_lists_without_end_and_too_many_streams(kravi):
    deep = b"".join(b"LIST" + struct.pack("<I", 0x7FFFFFFF) + b"strl" for _ in range(20000))
    report = verified(kravi, avi.simple_avi(avi.standard_streams(2), before_movi=deep), 1)
    check({"list-too-deep", "list-overruns-list"} <= codes(report), str(codes(report)))
    streams = [avi.video([b"ab"]) for _ in range(257)]
    data = avi.header_list(streams, 1) + avi.lst(b"movi", b"00dc\2\0\0\0ab")
    report = verified(kravi, avi.chunk(b"RIFF", b"AVI " + data), 1)
    check("streams-too-many" in codes(report), str(codes(report)))


def survives(kravi, data, what):
    result = kravi("verify", kravi.write("clip.avi", bytes(data)), "--json")
    check(result.code in (0, 1, 2), f"{what}: {result}")
    report = result.json()
    equal("error" in report, result.code == 2, what)
    if "bytes" in report:
        equal(sum(report["bytes"].values()), len(data), f"{what}: bytes")
    check(len(result.out) < 200000, f"{what}: prints {len(result.out)} characters")
    return result.code


def test_truncated_at_every_structure(kravi):
    for name in ("simple", "dml", "private"):
        data = base(name)
        ids = (b"RIFF", b"LIST", b"hdrl", b"avih", b"strl", b"strh", b"strf", b"indx", b"odml", b"dmlh", b"KrlA",
               b"movi", b"00dc", b"01wb", b"ix00", b"idx1")
        places = {data.find(one, start) for one in ids for start in (0, len(data) // 2)} - {-1}
        for place in sorted(places)[::12 if kravi.is_emulated else 1]:
            for length in (place + 4,) if kravi.is_emulated else (place, place + 4, place + 11):
                check(survives(kravi, data[:length], f"{name} cut at {length}") != 0, f"{name} cut at {length} passes")


def test_random_damage(kravi):
    source = random.Random(11)
    for attempt in range(kravi.rounds(300)):
        data = bytearray(base(("simple", "dml", "private")[attempt % 3]))
        headers = data.index(b"movi") + 20
        for _ in range(source.randint(1, 12)):
            area = headers if source.random() < 0.6 else len(data)
            data[source.randrange(area)] = source.choice((0, 1, 0x7F, 0x80, 0xFF, source.randrange(256)))
        survives(kravi, data, f"change {attempt}")


def test_hostile_shapes_end_in_time(kravi):
    million = 30000 if kravi.is_emulated else 1000000
    head = avi.header_list([avi.video([b"ab"])], 1)
    shapes = {"headers without data": b"00dc\0\0\0\0" * million,
              "headers that overlap": b"00dc\x10\0\0\0" * million,
              "segments": b"RIFF\4\0\0\0AVIX" * million,
              "open lists": b"LIST\0\0\0\0rec " * million,
              "zeros": bytes(8 * million),
              "letters": b"00d" * million}
    for what, content in shapes.items():
        movi = b"LIST" + struct.pack("<I", len(content) + 4) + b"movi" + content
        survives(kravi, avi.chunk(b"RIFF", b"AVI " + head + movi + b"idx1\x10\0\0\0" + b"00dc" * 4), what)
        if kravi.is_emulated:
            break
        equal("segments-too-many" in codes(kravi("verify", "clip.avi", "--json").json()), what == "segments", what)
    entries = struct.pack("<4sIII", b"00dc", 0x10, 77, 2) * (million // 10)
    survives(kravi, avi.chunk(b"RIFF", b"AVI " + head + avi.lst(b"movi", b"00dc" * 40) + avi.chunk(b"idx1", entries)),
             "entries at nothing")


def test_one_wrong_size_is_one_finding(kravi):
    """The chunk is wrong, not the index, nor the headers, nor the chunks that it would cover."""
    source = random.Random(1)
    streams = [avi.video([avi.payload(place, 2 * source.randrange(250, 2000)) for place in range(250)]),
               avi.pcm([avi.payload(place, 7680) for place in range(250)])]
    for build in (avi.simple_avi, avi.open_dml_avi):
        whole = build(streams)
        position = streams[0].positions[80]
        for size in (400000, 400001, 9000):
            data = bytearray(whole)
            struct.pack_into("<I", data, position - 4, size)
            report = verified(kravi, data, 1)
            equal(codes(report) - {"idx1-absent"}, {"chunk-size-wrong"}, f"{size}: codes")
            [result] = [result for result in report["results"] if result["code"] == "chunk-size-wrong"]
            equal(result["places"], [{"offset": position - 8, "found": f"{size} bytes",
                                      "expected": f"{len(streams[0].chunks[80])} bytes at most"}], f"{size}: places")
            index = exit_code(kravi("index", "clip.avi", "--check", "--summary", "--json"), 0).json()
            for kind in ("video", "audio"):
                equal(index[kind]["check"], {"chunksInFile": 250, "notInIndex": 0, "notInFile": 0}, f"{size}: {kind}")
            picture = exit_code(kravi("map", "clip.avi", "-o", "map.svg", "--force", "--json"), 1).json()
            equal(picture["findings"], ["the size of 1 chunk is wrong: it covers others"], f"{size}: map")


def test_the_rest_of_a_chunk_of_wrong_size_is_no_second_finding(kravi):
    """An index has the right size; the bytes up to there are the chunk's. Other bytes, and those without an index, are not."""
    for build in (avi.simple_avi, avi.open_dml_avi, lambda streams: avi.simple_avi(streams, idx1=False)):
        streams = avi.standard_streams(9)
        data = bytearray(build(streams))
        for number, size in ((2, 100), (5, 0)):
            struct.pack_into("<I", data, streams[0].positions[number] - 4, size)
        report = verified(kravi, data, 1)
        has_index = b"ix00" in data or b"idx1" in data
        equal(codes(report) & {"chunk-size-wrong", "unknown-data"}, {"chunk-size-wrong" if has_index else "unknown-data"}, "codes")
        equal(report["bytes"]["unaccounted"], 0 if has_index else 204 + 306, "bytes")
        position = streams[1].positions[6] - 8
        data[position:position + 8] = b"\1\2\3\4\5\6\7\x08"
        [result] = [row for row in verified(kravi, data, 1)["results"] if row["code"] == "unknown-data"]
        equal([place["offset"] for place in result["places"]][-1:], [position], "a spoilt header")
        equal(result["count"], 1 if has_index else 3, "places")
