"""Malicious files: a timely result, a known exit code, valid JSON, output in proportion to the file."""

import os
import random
import struct
import subprocess

import avi_builder as avi
from kravi_runner import Result, check, equal, exit_code


def put(data, position, value):
    return data[:position] + struct.pack("<I", value) + data[position + 4:]


def survives(kravi, data, what, codes=(0, 1, 2)):
    """Runs every verb; an emulator costs a second for each run, so it gets one."""
    name = kravi.write("hostile.avi", data)
    for output in ("v", "a", "out.avi"):
        if output in kravi.names():
            os.remove(kravi.path(output))
    verbs = (["info"], ["tree"], ["index", "--check"], ["extract", "--video", "v", "--audio", "a", "--force"],
             ["hash", "--frames"], ["cut", "out.avi", "--from", "1"], ["concat", name, "-o", "out.avi", "--force"])
    for verb, *options in verbs:
        result = kravi(verb, name, *options, "--json")
        check(result.code in codes, f"{what}: {verb}: {result}")
        check(("error" in result.json()) == (result.code == 2), f"{what}: {verb}: {result}")
        check(len(result.out) < 20000 + 200 * len(data), f"{what}: {verb} prints {len(result.out)} characters")
    for output in ("v", "a"):
        if output in kravi.names():
            check(len(kravi.read(output)) <= len(data) + 200, f"{what}: {output} is larger than the file")


def test_every_kind_of_prefix(kravi):
    for build in (avi.simple_avi, avi.open_dml_avi):
        data = build(avi.standard_streams(3))
        for length in range(0, len(data), len(data) // kravi.rounds(len(data) // 211)):
            survives(kravi, data[:length], f"prefix of {length}")


def test_random_changes(kravi):
    source = random.Random(7)
    for build in (avi.simple_avi, avi.open_dml_avi):
        data = build(avi.standard_streams(2))
        headers = data.index(b"movi") + 20
        for attempt in range(kravi.rounds(60)):
            changed = bytearray(data)
            for _ in range(source.randint(1, 12)):
                area = headers if source.random() < 0.7 else len(changed)
                changed[source.randrange(area)] = source.choice((0, 1, 0x7F, 0x80, 0xFF, source.randrange(256)))
            survives(kravi, bytes(changed), f"change {attempt}")


def test_lists_inside_lists_without_end(kravi):
    deep = b"".join(b"LIST" + struct.pack("<I", 0x7FFFFFFF) + b"deep" for _ in range(20000))
    data = avi.simple_avi(avi.standard_streams(2), before_movi=deep)
    kravi.write("deep.avi", data)
    result = exit_code(kravi("tree", "deep.avi", "--json"), 1).json()
    check(any("not entered" in finding for finding in result["findings"]), str(result["findings"])[:500])
    check(len(result["chunks"]) < 100, "levels")
    survives(kravi, data, "deep lists")


def test_lists_that_overlap_are_not_walked_twice(kravi):
    # Each pair doubles the paths to the end: the inner list claims the rest of the file, the outer one ends
    # right after the inner one's header.
    pairs = b"".join(b"LIST" + struct.pack("<I", 16) + b"pair" + b"LIST" + struct.pack("<I", 0x00FFFFFF) + b"rest"
                     for _ in range(60))
    data = avi.simple_avi(avi.standard_streams(2), before_movi=pairs)
    kravi.write("pairs.avi", data)
    result = kravi("tree", "pairs.avi", "--json", "--all")
    check(result.code in (0, 1) and len(result.json()["chunks"]) < 1000, str(result)[:2000])
    survives(kravi, data, "overlapping lists")


def test_index_that_points_many_times_at_one_chunk(kravi):
    streams = avi.standard_streams(40)
    data = avi.simple_avi(streams)
    head = data.index(b"idx1")
    first = data[head + 8:head + 24]
    big = first[:12] + struct.pack("<I", len(data) // 2)
    data = data[:head + 8] + big * 80 + data[head + 8 + 16 * 80:]
    kravi.write("clip.avi", data)
    result = exit_code(kravi("extract", "clip.avi", "--video", "v", "--json"), 1).json()
    check("the chunks of the video index are larger in total than the file; it is not used" in result["findings"],
          str(result))
    equal(kravi.read("v"), b"".join(streams[0].chunks), "frames, found by the search")
    check(any("larger in total than the file" in finding for finding in
              exit_code(kravi("info", "clip.avi", "--json"), 1).json()["findings"]), "info")


def test_index_that_points_at_wrong_places_is_a_finding(kravi):
    data = avi.simple_avi(avi.standard_streams())
    last = data.rindex(b"00dc") + 8  # the offset in the last video entry
    data = put(data, last, struct.unpack_from("<I", data, last)[0] + 2)
    kravi.write("clip.avi", data)
    findings = exit_code(kravi("extract", "clip.avi", "--video", "v", "--json"), 1).json()["findings"]
    equal(findings, ["not at a chunk of stream 0: 1 entry of the video index; it is not used"], "findings")


def test_sizes_of_four_gigabytes(kravi):
    data = avi.simple_avi(avi.standard_streams(2))
    for what in (b"strf", b"strh", b"avih", b"00dc", b"01wb", b"idx1", b"hdrl", b"movi"):
        position = data.index(what)
        position += -4 if what in (b"hdrl", b"movi") else 4
        for size in (0xFFFFFFFF, 0xFFFFFFFE, 0x80000000, 0):
            survives(kravi, put(data, position, size), f"{what} of {size}")


def test_counts_beyond_the_file(kravi):
    data = avi.open_dml_avi(avi.standard_streams(2))
    for what in (b"indx", b"ix00"):
        position = data.index(what) + 12
        for count in (0xFFFFFFFF, 0x10000000, 0):
            survives(kravi, put(data, position, count), f"{what} with {count} entries")


def test_many_streams_are_cut(kravi):
    data = avi.simple_avi([avi.video([b"frame" * 9]), *[avi.pcm([b"x" * 4]) for _ in range(254)]])
    kravi.write("full.avi", data)
    equal(len(exit_code(kravi("info", "full.avi", "--json"), 0).json()["streams"]), 255, "streams")
    one_more = avi.lst(b"strl", avi.chunk(b"strh", bytes(56)))
    head = data.index(b"LIST") + 4
    size = struct.unpack_from("<I", data, head)[0]
    more = put(data[:head + 4 + size] + one_more * 20 + data[head + 4 + size:], head, size + 20 * len(one_more))
    more = put(more, 4, len(more) - 8)
    kravi.write("over.avi", more)
    result = exit_code(kravi("info", "over.avi", "--json"), 1).json()
    equal(len(result["streams"]), 256, "streams")
    check("the headers have too many chunks or streams; the rest is not checked" in result["findings"], str(result["findings"]))


def in_little_memory(kravi, *arguments):
    """A run in 160 MB of addresses, of which its threads and buffers take the half."""
    done = subprocess.run(["sh", "-c", 'ulimit -v 160000; exec "$@"', "sh", *kravi.command, *arguments], cwd=kravi.folder,
                          env={**os.environ, "MALLOC_ARENA_MAX": "1"}, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=60, check=False)
    check(b"out of memory" not in done.stderr, f"{arguments}: {done.stderr}")
    return Result(done)


def test_headers_of_any_size_take_little_memory(kravi):
    if kravi.is_emulated or kravi.is_slow:
        return  # a sanitizer takes its own memory
    data = avi.simple_avi(avi.standard_streams(2))
    place = data.index(b"hdrl") + 4
    put_in = lambda size: put(put(data[:place], place - 8, size + len(avi.header_list(avi.standard_streams(2), 2)) - 8), 4, len(data) - 8 + size)
    lists, many = avi.lst(b"strl"), 2000000
    kravi.write("lists.avi", put_in(many * len(lists)) + lists * many + data[place:])
    head, size = avi.lst(b"strl", avi.chunk(b"strh", b""))[:-4], 15 << 20
    with open(kravi.path("sizes.avi"), "wb") as file:
        file.write(put_in(16 * (size + len(head) + 4)))
        for _ in range(16):
            file.write(put(head, 4, size + len(head) - 4) + struct.pack("<I", size))
            file.seek(size, os.SEEK_CUR)
        file.write(data[place:])
    for name, cause in (("lists.avi", "it has 2000002 streams; AVI files can number 100"),
                        ("sizes.avi", "stream 2 has no whole header")):
        in_little_memory(kravi, "info", name)
        result = exit_code(in_little_memory(kravi, "rewrap", name, "out.avi"), 2)
        check(cause in result.err, result.err)


def test_zeros_between_stream_headers(kravi):
    """Readers look for the next list after them."""
    streams = avi.standard_streams(3)
    data = avi.simple_avi(streams)
    second = data.index(b"LIST", data.index(b"strl") + 4)
    kravi.write("clean.avi", data)
    exit_code(kravi("rewrap", "clean.avi", "wanted.avi"), 0)
    for zeros in (8, 60, 10000):
        more = data[:second] + bytes(zeros) + data[second:]
        more = put(put(more, 4, len(more) - 8), 16, struct.unpack_from("<I", data, 16)[0] + zeros)
        kravi.write("in.avi", more)
        exit_code(kravi("rewrap", "in.avi", "out.avi", "--force"), 0)
        check(kravi.read("out.avi") == kravi.read("wanted.avi"), f"{zeros} zeros")


def test_stream_that_only_the_reader_sees(kravi):
    """It steps over a chunk with any id, and copies do not carry what that hides without a word."""
    data = avi.simple_avi(avi.standard_streams(3))
    second = data.index(b"LIST", data.index(b"strl") + 4)
    more = data[:second] + b"\1\2\3\4" + struct.pack("<I", 8) + bytes(8) + data[second:]
    more = put(put(more, 4, len(more) - 8), 16, struct.unpack_from("<I", data, 16)[0] + 16)
    survives(kravi, more, "a chunk without a name")
    kravi.write("in.avi", more)
    for verb in ("rewrap", "recover"):
        report = exit_code(kravi(verb, "in.avi", "out.avi", "--force", "--json"), 1).json()
        check(report["findings"] != [], verb)


def test_silence_in_proportion_to_the_file(kravi):
    """Sound that only an index has, or a header; each is filled as far as a file of that size may have lost it."""
    streams = avi.standard_streams(12)
    data = avi.simple_avi(streams)
    hole = streams[1].positions[5] - 8
    broken = bytearray(data[:hole] + bytes(1920 * 4 + 8) + data[streams[0].positions[6] - 8:])
    entry = broken.index(b"idx1") + 8 + 16 * 11
    struct.pack_into("<I", broken, entry + 12, 0xFFFFFFFC)
    kravi.write("in.avi", bytes(broken))
    report = exit_code(kravi("recover", "in.avi", "out.avi", "--json"), 1).json()
    check(report["bytes"] < 2 * len(data) and report["soundFilled"] == 0, f"index: {report['bytes']} bytes")
    length = broken.index(b"strh", broken.index(b"strh") + 4) + 8 + 32
    struct.pack_into("<I", broken, length, len(broken))
    struct.pack_into("<I", broken, length + 12, 0x7FFFFFFF)  # bytes of a sample frame
    struct.pack_into("<I", broken, broken.index(b"idx1") + 4, 16)
    kravi.write("in.avi", bytes(broken))
    report = exit_code(kravi("recover", "in.avi", "out.avi", "--force", "--json"), 1).json()
    check(report["bytes"] < 2 * len(data), f"header: {report['bytes']} bytes")
    if kravi.is_emulated or kravi.is_slow:
        return
    slow = avi.simple_avi([avi.video([b"frame" * 9] * 2), avi.pcm([b"x" * 2], rate=1, channels=1, bits=8)])
    kravi.write("slow.avi", put(slow, slow.index(b"strh") + 8 + 20, 25 * 30000000))
    exit_code(in_little_memory(kravi, "concat", "slow.avi", "slow.avi", "-o", "joined.avi"), 0)


def test_pictures_larger_than_the_file(kravi):
    data = avi.simple_avi([avi.video([bytes(300)] * 2, compression=bytes(4))])
    for size in (65535, 16000):
        place = data.index(b"strf") + 8 + 4
        kravi.write("in.avi", put(put(data, place, size), place + 4, size))
        result = exit_code(kravi("extract", "in.avi", "--y4m", "out.y4m"), 2)
        check("in.avi: " in result.err and "out.y4m" not in kravi.names(), result.err)
