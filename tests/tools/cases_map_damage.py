"""kravi map: what it marks in damaged files, and that hostile ones do no harm."""

import random
import struct

import avi_builder as avi
from kravi_runner import check, equal, exit_code
from map_picture import SVG, Picture, check_lanes, mapped, near, stored


def places(picture, kind):
    return [(region["position"], region["end"]) for region in picture.report["damage"][kind]["regions"]]


def check_hatch(picture, group, start, end):
    corners = picture.points(group)
    near(corners[0][0], picture.x("file", start), f"start of {group}")
    near(corners[1][0], max(picture.x("file", start) + 2, picture.x("file", end)), f"end of {group}")
    equal([path.get("class") for path in picture.groups[group].iter(SVG + "path")], ["hatch"], group)
    check(picture.texts(group), f"label of {group}")


def test_damage_is_marked(kravi):
    streams = avi.standard_streams(20)
    whole = avi.simple_avi(streams)
    video, audio = streams[0].positions, streams[1].positions
    noise = random.Random(4).randbytes

    cut = mapped(kravi, whole[:audio[15] + 1000], code=1)
    equal(cut.report["missingBytes"], len(whole) - audio[15] - 1000, "missing")
    equal(places(cut, "cutChunk"), [(audio[15] - 8, audio[15] + 1000)], "cut chunk")
    check_hatch(cut, "cut-chunk", audio[15] - 8, audio[15] + 1000)
    check(any("missing" in text for text in cut.texts("missing")), "label of what is missing")
    check_lanes(cut, audio[15] + 1000)
    check(any("the headers declare 20 frames, the file has 16" in text for text in cut.texts("title")), "frames")

    spoilt = whole[:video[8] - 8] + bytes(noise(video[10] - video[8])) + whole[video[10] - 8:]
    picture = mapped(kravi, spoilt, code=1)
    equal(places(picture, "inNoChunk"), [(video[8] - 8, video[10] - 8)], "gap")
    check_hatch(picture, "in-no-chunk", video[8] - 8, video[10] - 8)
    check_lanes(picture, len(spoilt))
    equal(picture.lane("video", 0)["chunks"], 18, "frames around the gap")

    picture = mapped(kravi, avi.simple_avi(streams, idx1=False), code=1)
    equal(places(picture, "notIndexed"), [(video[0] - 8, audio[19] + 7680)], "from the first chunk to the last")
    equal(picture.report["damage"]["notIndexed"]["bytes"], stored(streams[0].chunks) + stored(streams[1].chunks), "bytes")
    check(any("no index for this data" in text for text in picture.texts("not-indexed")), "label")
    check("no video index can be loaded" in picture.report["findings"], str(picture.report["findings"]))

    tail = avi.chunk(b"00dc", b"y" * 5000)
    picture = mapped(kravi, whole + tail + bytes(noise(3001)), code=1)
    equal(places(picture, "outsideMovi"), [(len(whole), len(whole) + len(tail))], "after the segment")
    equal(places(picture, "inNoChunk"), [(len(whole) + len(tail), len(whole) + len(tail) + 3001)], "garbage")
    check_hatch(picture, "outside", len(whole), len(whole) + len(tail))
    for extra in (tail, bytes(5000)):
        findings = mapped(kravi, whole + extra, code=1).report["findings"]
        check(f"{len(extra):,} bytes follow the last segment" in findings, str(findings))


def test_a_page_names_damage_as_its_picture_does(kravi):
    streams = avi.standard_streams(20)
    data = avi.simple_avi(streams)[:streams[1].positions[15] + 1000] + avi.chunk(b"RIFF", b"AVIX")
    picture = mapped(kravi, data + b"00dc" + struct.pack("<I", 500) + bytes(500), code=1, output="map.html")
    tables = kravi.read("map.html").decode("utf-8").partition("</svg>")[2]
    for name, kind in (("in no chunk", "inNoChunk"), ("outside 'movi'", "outsideMovi"), ("truncated chunk", "cutChunk")):
        named = any((text or "").startswith(name + ":") for text in picture.texts("file"))
        equal(f"<td>{name.replace(chr(39), '&#39;')}</td>" in tables, named, name)
        equal(named, bool(places(picture, kind)), f"{name}: there")


def test_bytes_that_the_index_leaves_out(kravi):
    """Those of the chunks: the places of several streams overlap, and would add up to more than the file."""
    streams = avi.standard_streams(60)
    data = bytearray(avi.simple_avi(streams))
    entries = data.index(b"idx1") + 8
    gone = [[], []]
    for number in [*range(10, 40), *range(50, 53), 80]:
        data[entries + 16 * number:entries + 16 * number + 16] = bytes(16)
        gone[number % 2].append(streams[number % 2].chunks[number // 2])
    picture = mapped(kravi, bytes(data), code=1)
    equal(picture.report["damage"]["notIndexed"]["bytes"], sum(map(stored, gone)), "bytes")
    equal([text for text in picture.report["findings"] if text.startswith("not in")],
          [f"not in the {name} index: {len(chunks)} chunks" for name, chunks in zip(("video", "audio"), gone)], "findings")


def test_time_goes_on_where_bytes_were_removed(kravi):
    """The index names what is gone. Where all chunks are alike, it is not known which; nor without an index."""
    def times(data, **options):
        picture = mapped(kravi, data, code=1, **options)
        removals = [text for text in picture.report["findings"] if "were removed" in text]
        far = [text for text in picture.report["findings"] if "far from its picture" in text]
        return picture, picture.report["shown"]["endSeconds"], removals, far

    source = random.Random(3)
    sizes = [source.randrange(400, 3000) for _ in range(100)]
    for build in (avi.simple_avi, lambda made: avi.simple_avi(made, relative=False), avi.open_dml_avi):
        streams = [avi.video([avi.payload(1, size) for size in sizes]), avi.pcm([avi.payload(2, 7680)] * 100)]
        data, video = build(streams), streams[0].positions
        parts = [data[:video[20] - 8], data[video[30] - 8:video[70] - 8], data[video[75] - 8:]]
        first, second = video[30] - video[20], video[75] - video[70]
        picture, end, removals, far = times(b"".join(parts))
        equal((round(end, 6), far), (4, []), "time")
        equal(removals, [f"{first:,} bytes were removed at position {video[20] - 8:,}: 20 chunks of the index are gone",
                         f"{second:,} bytes were removed at position {video[70] - 8 - first:,}: 10 chunks of the index are gone"], "words")
        rates = picture.report["rates"][0]["bins"]
        equal(rates, [0 if start in (20, 25, 70) else sum(sizes[start:start + 5]) for start in range(0, 100, 5)], "rates")
        compared = [part["frames"] for part in picture.report["interleave"]["bins"] if part]
        equal(sum(compared), 85, "frames compared")
        for rest in (bytes(1000), data[video[70] - 8:video[70] + 300]):
            _, end, removals, far = times(parts[0] + parts[1] + rest + parts[2])
            equal((round(end, 6), len(removals), far), (4, 2, []), "zeros, or a part of a chunk, in the place of some bytes")
    for options in ({"idx1": False}, {}):
        streams = [avi.video([avi.payload(1, 500 if not options else size) for size in sizes]), avi.pcm([avi.payload(2, 500)] * 100)]
        data, video = avi.simple_avi(streams, **options), streams[0].positions
        _, end, removals, _ = times(data[:video[20] - 8] + data[video[30] - 8:])
        equal((round(end, 6), removals), (3.6, []), f"{options}")
    streams = [avi.video([avi.payload(1, 500)] * 100), avi.pcm([avi.payload(2, 500)] * 100)]
    data, video = avi.simple_avi(streams), streams[0].positions
    _, end, removals, _ = times(data[:video[20] + 77] + data[video[30] - 8:])  # what is left of a chunk shows the place
    equal((round(end, 6), len(removals)), (4, 1), "chunks that are alike")


def test_third_stream_that_is_not_in_the_index(kravi):
    streams = avi.standard_streams(audio=2)
    data = avi.simple_avi(streams)
    equal(mapped(kravi, data).report["findings"], [], "findings of the whole file")
    index = data.rindex(b"idx1")
    picture = mapped(kravi, data[:index] + data[index:].replace(b"02wb", b"07wb", 1), code=1)
    equal(picture.report["findings"], ["not in the stream 2 index: 1 chunk"], "findings")
    equal(places(picture, "notIndexed"), [(streams[2].positions[0] - 8, streams[2].positions[1] - 8)], "place")
    picture = mapped(kravi, data[:index] + data[index:].replace(b"02wb", b"07wb"), code=1)
    equal(picture.report["findings"], ["no stream 2 index can be loaded"], "findings without an index")


def test_recording_that_was_never_completed(kravi):
    streams = avi.standard_streams(10)
    data = bytearray(avi.simple_avi(streams, idx1=False))
    for unset in (0, 0xFFFFFFFF):
        struct.pack_into("<I", data, 4, unset)
        struct.pack_into("<I", data, data.index(b"movi") - 4, unset)
        picture = mapped(kravi, bytes(data), code=1)
        equal(sum("never completed" in text for text in picture.texts("title")), 2, f"{unset}: in the picture")
        check("missing" not in picture.text and "truncated" not in picture.text, f"{unset}: nothing is missing")
        findings = picture.report["findings"]
        equal(sum("was not finished" in text for text in findings), 1, f"{unset}: {findings}")
        equal([part["claimedEnd"] for part in picture.report["segments"]], [None], f"{unset}: claimed end")
        equal(picture.lane("video", 0)["chunks"], 10, "frames")
        check_lanes(picture, len(data))
    struct.pack_into("<I", data, data.index(b"movi") - 4, 0)
    kravi.write("refused.avi", data)
    refusal = exit_code(kravi("map", "refused.avi", "-o", "refused.svg"), 2).err
    check("no data chunks" in refusal and "kravi recover" in refusal, refusal)


def survives(kravi, data, what):
    kravi.write("hostile.avi", data)
    if "map.svg" in kravi.names():
        kravi.remove("map.svg")
    result = kravi("map", "hostile.avi", "-o", "map.svg", "--json")
    check(result.code in (0, 1, 2), f"{what}: {result}")
    report = result.json()
    check(("error" in report) == (result.code == 2) == ("map.svg" not in kravi.names()), f"{what}: {result}")
    if result.code != 2:
        picture = Picture(kravi.read("map.svg").decode("utf-8"), report)
        equal(sum(sum(lane["bins"]) for lane in report["lanes"]), len(data), f"{what}: bytes in all lanes")
        check(len(picture.text) < 250000, f"{what}: {len(picture.text)} characters")


def test_hostile_files(kravi):
    source = random.Random(11)
    for build in (avi.simple_avi, avi.open_dml_avi):
        data = build(avi.standard_streams(4))
        for _ in range(kravi.rounds(40)):
            changed = bytearray(data[:source.randint(300, len(data))])
            for _ in range(source.randint(0, 12)):
                area = min(len(changed), 600) if source.random() < 0.6 else len(changed)
                changed[source.randrange(area)] = source.choice((0, 1, 0x7F, 0x80, 0xFF, source.randrange(256)))
            survives(kravi, bytes(changed), "changed file")
    data = avi.simple_avi(avi.standard_streams(4))
    for rate, scale in ((1, 0xFFFFFFFF), (0xFFFFFFFF, 1), (0, 0)):
        changed = bytearray(data)
        struct.pack_into("<III", changed, data.index(b"strh") + 28, scale, rate, 0xFFFFFFFF)  # and the start
        survives(kravi, bytes(changed), f"{rate}/{scale} frames a second")
    deep = b"".join(b"LIST" + struct.pack("<I", 0x7FFFFFFF) + b"movi" for _ in range(5000))
    survives(kravi, avi.simple_avi(avi.standard_streams(4), before_movi=deep), "lists in lists")
    survives(kravi, avi.simple_avi(avi.standard_streams(4), idx1=False) + b"00dc\xfb\xff\x0f\0" * 20000, "ids")
    damaged = bytearray(avi.simple_avi([avi.video([avi.payload(number, 40) for number in range(3000)])]))
    for place in range(600, len(damaged), 96):
        damaged[place] ^= 0x80
    survives(kravi, bytes(damaged), "a thousand gaps")
