"""kravi map: compares the shapes of pictures with the file, and with the numbers in the report."""

import math
import random
import re
import struct
import time
from xml.etree import ElementTree

import avi_builder as avi
from kravi_runner import check, equal, exit_code

SVG = "{http://www.w3.org/2000/svg}"
PANELS = {"title", "file", "segments", "parts", "keys", "marks", "legend", "rate", "interleave-time", "interleave-bytes"}


class Picture:
    """A picture, and its numbers in the report."""

    def __init__(self, text, report):
        self.text, self.report = text, report
        self.root = ElementTree.fromstring(text)
        self.groups = {group.get("id"): group for group in self.root.iter(SVG + "g")}

    def scale(self, group):
        names = ("left", "top", "width", "height", "from-x", "to-x", "from-y", "to-y")
        return {name: float(self.groups[group].get("data-" + name)) for name in names}

    def x(self, group, value):
        scale = self.scale(group)
        return scale["left"] + (value - scale["from-x"]) / (scale["to-x"] - scale["from-x"]) * scale["width"]

    def y(self, group, value):
        scale = self.scale(group)
        share = (value - scale["from-y"]) / (scale["to-y"] - scale["from-y"])
        return scale["top"] + scale["height"] * (1 - share)

    def texts(self, group=None):
        return [text.text for text in (self.root if group is None else self.groups[group]).iter(SVG + "text")]

    def lane(self, kind, stream=None):
        return next(lane for lane in self.report["lanes"] if (lane["kind"], lane["stream"]) == (kind, stream))

    def bars(self, group):
        """Corners of all bars, as [(x, y), ...], from left to right; and those beyond the limit alone."""
        bars, far = [], []
        for place, path in enumerate(self.groups[group].iter(SVG + "path")):
            corners = self.points(group, place)
            some = [corners[first:first + 4] for first in range(0, len(corners), 4)]
            bars += some
            far += some if path.get("class") == "damage" else []
        return sorted(bars), sorted(far)

    def points(self, group, place=-1):
        """Corners of a path, as (x, y)."""
        x = y = 0.0
        corners = []
        path = list(self.groups[group].iter(SVG + "path"))[place]
        for command, rest in re.findall(r"([MLHVz])([^MLHVz]*)", path.get("d")):
            numbers = [float(number) for number in rest.split()]
            if command in "ML":
                x, y = numbers
            elif command == "H":
                x, = numbers
            elif command == "V":
                y, = numbers
            else:
                continue
            corners.append((x, y))
        return corners


def mapped(kravi, data, *options, code=0, name="clip.avi", output="map.svg"):
    kravi.write(name, data)
    report = exit_code(kravi("map", name, "-o", output, "--json", "--force", *options), code).json()
    text = kravi.read(output).decode("utf-8")
    equal(len(text.encode("utf-8")), report["outputBytes"], "size of the output")
    if output.endswith(".html"):
        text = text[text.index("<svg"):text.index("</svg>") + 6]
    return Picture(text, report)


def near(got, wanted, what, most=1.0):
    check(abs(got - wanted) <= most, f"{what}: {got}, wanted {wanted}")


def stored(chunks):
    """Bytes that chunks take in a file."""
    return sum(8 + len(data) + len(data) % 2 for data in chunks)


def widened(bins, needed):
    """The bins that narrow runs of bytes take in the picture, so that each is some pixels wide."""
    places, start = set(), None
    for place, size in enumerate(bins + [0]):
        if size and start is None:
            start = place
        elif not size and start is not None:
            if place - start < needed:
                first = min(max(0, start - (needed - place + start) // 2), len(bins) - needed)
                places |= set(range(first, first + needed))
            start = None
    return places


def check_lanes(picture, length):
    """The lanes cover every byte, and are drawn as reported."""
    equal(sum(lane["bytes"] for lane in picture.report["lanes"]), length, "bytes in all lanes")
    scale = picture.scale("file")
    for lane in picture.report["lanes"]:
        equal(sum(lane["bins"]), lane["bytes"], f"bins of {lane['kind']}")
        if lane["bytes"] == 0:
            continue
        group = f"lane-{lane['kind']}" + ("" if lane["stream"] is None else f"-{lane['stream']}")
        corners = picture.points(group)
        bottom = max(y for _, y in corners)
        count = len(lane["bins"])
        for place in range(0, count, 7):
            left = scale["left"] + scale["width"] * (place + 0.5) / count
            before = [y for x, y in corners if x <= left]
            drawn = bottom - before[-1] if before else 0
            share = lane["bins"][place] / (length * (place + 1) // count - length * place // count)
            wanted = max(1.5, 26 * share) if lane["bins"][place] else 0
            if lane["kind"] in ("headers", "index", "damage"):  # rare things have a least size
                if place in widened(lane["bins"], min(count, math.ceil(4 / (scale["width"] / count)))):
                    wanted = max(wanted, 9)
            near(drawn, wanted, f"{group}, bin {place}", 0.13)


def test_positions_are_to_scale(kravi):
    for build, segments in ((avi.simple_avi, 1), (avi.open_dml_avi, 2)):
        streams = avi.standard_streams(40, audio=2)
        data = build(streams)
        picture = mapped(kravi, data)
        equal(PANELS - set(picture.groups), set(), "panels that are missing")
        check_lanes(picture, len(data))
        for number, kind in enumerate(("video", "audio", "audio")):
            lane = picture.lane(kind, number)
            equal((lane["chunks"], lane["bytes"]), (40, stored(streams[number].chunks)), f"stream {number}")
            corners = picture.points(f"lane-{kind}-{number}")
            near(corners[0][0], picture.x("file", streams[number].positions[0] - 8), "first chunk")
            near(corners[-1][0], picture.x("file", streams[number].positions[-1] + len(streams[number].chunks[-1])), "last")
        starts = [match.start() - 8 for match in re.finditer(b"AVI ", data)] + [
            match.start() - 8 for match in re.finditer(b"AVIX", data)]
        rects = list(picture.groups["segments"].iter(SVG + "rect"))
        equal(len(rects), segments, "segments")
        for start, end, rect in zip(starts, starts[1:] + [len(data)], rects):
            near(float(rect.get("x")), picture.x("file", start), "segment")
            near(float(rect.get("width")), picture.x("file", end) - picture.x("file", start), "segment's width")
        equal([row["position"] for row in picture.report["segments"]], starts, "segments in the report")
        movi = [match.start() - 8 for match in re.finditer(b"movi", data)]
        equal([row["position"] for row in picture.report["lists"] if row["type"] == "movi"], movi, "lists")
        check("clip.avi" in picture.texts("title"), "name")
        check(any("40 frames" in text and "25 frames/s" in text for text in picture.texts("title")), "facts")


def test_rates_are_drawn_as_reported(kravi):
    streams = avi.standard_streams(100)
    picture = mapped(kravi, avi.simple_avi(streams))
    equal(picture.report["rateBinSeconds"], 0.2, "stretch")
    for stream, series in zip(streams, picture.report["rates"]):
        sizes = [sum(map(len, stream.chunks[first:first + 5])) for first in range(0, 100, 5)]
        equal(series["bins"], sizes, f"bytes of {series['kind']}")
        equal(series["bytes"], sum(sizes), "sum")
        steps = picture.points(f"rate-{series['kind']}")
        for place, bits in enumerate(series["bitsPerSecond"]):
            near(bits, 8 * sizes[place] / 0.2, "rate", 0.001)
            near(steps[1 + 2 * place][1] if place else steps[0][1], picture.y("rate", bits), f"step {place}", 0.02)
            near(steps[1 + 2 * place][0], picture.x("rate", 0.2 * (place + 1)), f"end of step {place}", 0.02)


def test_distance_of_sound_and_frames(kravi):
    def is_far(distance):
        """Of blocks of 0.04 s: early ones count from where they begin."""
        return distance < -0.98 - 1e-6 or distance - 0.04 > 0.98 + 1e-6

    def compare(order, seconds):
        streams = avi.standard_streams(50)
        picture = mapped(kravi, avi.simple_avi(streams, order=order), "--interleave", "0.98",
                         code=1 if any(is_far(seconds(frame)) for frame in range(50)) else 0)
        interleave = picture.report["interleave"]
        wanted = [(seconds(frame), streams[0].positions[frame] - streams[1].positions[frame]) for frame in range(50)]
        equal(interleave["frames"], 50, "frames")
        for axis, name in enumerate(("seconds", "bytes")):
            bins = [part[name] for part in interleave["bins"]]
            equal(len(bins), 50, "bins")
            for frame, extent in enumerate(bins):
                near(extent[0], wanted[frame][axis], f"{name} of frame {frame}", 1e-6)
                near(extent[1], wanted[frame][axis], f"{name} of frame {frame}", 1e-6)
            near(interleave[name][0], min(row[axis] for row in wanted), name, 1e-6)
            near(interleave[name][1], max(row[axis] for row in wanted), name, 1e-6)
            group = "interleave-time" if name == "seconds" else "interleave-bytes"
            bars, far = picture.bars(group)
            equal(len(bars), 50, "bars")
            for frame in range(50):
                near(bars[frame][0][1] + 1, picture.y(group, wanted[frame][axis]), f"bar {frame}", 0.02)
                near(bars[frame][0][0], picture.x(group, frame / 25), f"bar {frame}", 0.02)
            equal(far, [bars[frame] for frame in range(50) if is_far(wanted[frame][0])], "beyond the limit")
        return picture

    video, audio = ([(stream, place) for place in range(50)] for stream in (0, 1))
    compare(None, lambda frame: 0)  # the sound of each frame after it
    late = compare(video + audio, lambda frame: -frame / 25)
    equal(late.report["findings"], ["audio 1 is far from its picture: up to 1.960 s late; the limit is 0.98 s"], "finding")
    equal((late.report["interleaveLimit"], late.report["interleaves"][0]["isFar"]), (0.98, True), "limit")
    check("more than 0.98 s from the picture" in late.texts(), "legend of the colour")
    [line] = [line for line in late.groups["interleave-time"].iter(SVG + "line") if line.get("class") == "limit"]
    near(float(line.get("y1")), late.y("interleave-time", -0.98), "line at the limit", 0.02)
    compare(audio + video, lambda frame: 2 - frame / 25)
    ahead = audio[:25] + [pair for place in range(25) for pair in (video[place], audio[place + 25])] + video[25:]
    compare(ahead, lambda frame: 1 if frame <= 25 else 2 - frame / 25)


def test_largest_chunks(kravi):
    streams = avi.standard_streams(30)
    for place, size in ((7, 40001), (21, 30000), (29, 20000)):
        streams[0].chunks[place] = avi.payload(place, size)
    picture = mapped(kravi, avi.simple_avi(streams))
    largest = picture.report["largest"]
    equal([(row["kind"], row["number"], row["seconds"], row["position"], row["size"]) for row in largest[:3]],
          [("video", place, place / 25, streams[0].positions[place] - 8, size)
           for place, size in ((7, 40001), (21, 30000), (29, 20000))], "the three largest")
    equal(len(largest), 3, "those that are larger than the equal ones after them")
    tips = picture.points("marks")[::3]
    equal(len(tips), len(largest), "marks")
    equal(picture.texts("marks"), ["Largest chunks", "1", "2", "3"], "numbers")
    for tip, row in zip(tips, largest):
        near(tip[0], picture.x("file", row["position"]), "mark", 0.02)
    texts = picture.texts("largest")
    check("40,001" in texts and "0.280 s" in texts, str(texts))
    equal([text for text in picture.texts() if re.match(r"\d+:\d\d\.", text)], [], "fractions of a second in a time code")
    page = mapped(kravi, avi.simple_avi(streams), output="map.html")
    check("Largest chunks" not in page.texts("largest") if "largest" in page.groups else True, "twice in a page")
    check("40,001" not in page.texts() and kravi.read("map.html").decode("utf-8").count(">40,001<") == 1, "once in a page")


def test_equal_chunks_are_not_the_largest(kravi):
    for sizes in ([500] * 40, [500] * 9, [500] * 40 + [300]):
        picture = mapped(kravi, avi.simple_avi([avi.video([avi.payload(1, size) for size in sizes])]))
        equal(picture.report["largest"], [], "largest")
        check("largest" not in picture.groups and not any("argest" in text for text in picture.texts()), "panel")


def test_names_cannot_break_out(kravi):
    hostile = "<&\"'>"
    name = "a&b'\u202e]]>\u00e9.avi" if not kravi.is_emulated else "a&b'\u202e]]\u00e9.avi"
    if not kravi.is_emulated:
        name = "</title><script>\x01\uffff" + name.replace(".avi", hostile + ".avi")
    streams = avi.standard_streams(3)
    streams[0] = avi.video(streams[0].chunks, compression=b"<&\">")
    data = avi.simple_avi(streams, before_movi=avi.lst(b"<'&>", avi.chunk(b"<\"\0>", b"x" * 600)))
    for output in ("map.svg", "map.html"):
        picture = mapped(kravi, data, name=name.replace("/", ":"), output=output, code=1)
        shown = picture.texts("title")
        check("a&b'\ufffd]]" in shown[0] and "\u00e9" in shown[0], repr(shown[0]))
        check(any("<&\">" in text for text in shown), "codec")
        check(not list(picture.root.iter(SVG + "script")), "script")
        check("<script" not in kravi.read(output).decode("utf-8"), "script in the text")


def test_output_is_handled_with_care(kravi):
    data = avi.simple_avi(avi.standard_streams(5))
    kravi.write("clip.avi", data)
    kravi.write("clip.svg", data)
    kravi.write("map.svg", b"precious")
    for words, *arguments in (("it exists already", "clip.avi", "-o", "map.svg"),
                              ("it is the input file", "clip.svg", "-o", "clip.svg", "--force"),
                              ("must end with .svg or .html", "clip.avi", "-o", "map.png"),
                              ("--width", "clip.avi", "-o", "new.svg", "--width", "599"),
                              ("--from is after --to", "clip.avi", "-o", "new.svg", "--from", "2", "--to", "1"),
                              ("it has 5 frames", "clip.avi", "-o", "new.svg", "--to", "5"),
                              ("no such file", "nowhere.avi", "-o", "new.svg"),
                              ("--output", "clip.avi")):
        result = exit_code(kravi("map", *arguments, "--json"), 2)
        check(words in result.json()["error"]["cause"], f"{arguments}: {result}")
    equal(kravi.read("map.svg"), b"precious", "existing file")
    equal(kravi.names(), ["clip.avi", "clip.svg", "map.svg"], "files")
    result = exit_code(kravi("map", "clip.avi", "-o", "map.svg", "--force"), 0)
    check(kravi.read("map.svg").startswith(b"<svg") and "output bytes" in result.out, str(result))


def test_page_has_picture_and_tables(kravi):
    streams = avi.standard_streams(8)
    picture = mapped(kravi, avi.simple_avi(streams), "--width", "700", output="map.html")
    equal(picture.root.get("width"), "700", "width")
    equal(PANELS - set(picture.groups), set(), "panels that are missing")
    page = kravi.read("map.html").decode("utf-8")
    check(page.startswith("<!DOCTYPE html>"), "type")
    check(not re.search(r"<script|<link|src=|url\((?!#)|@import", page), "needs other files")
    check(page.count("prefers-color-scheme:dark") >= 1, "dark colours")
    tables = page[page.index("</svg>"):]
    check("main{margin:0 auto;max-width:700px}" in page and ".tables{padding:0 2.286%}" in page, "tables at the picture")
    check(page.index("<main>") < page.index("<svg") < page.index('<div class="tables">') < page.index("</main>"), "order")
    for text in ("Bytes by kind", "Segments", f"{streams[0].positions[0] - 8 - 12:,}"):
        check(f">{text}<" in tables, f"{text} is missing")


def test_requested_frames(kravi):
    streams = avi.standard_streams(60)
    picture = mapped(kravi, avi.simple_avi(streams), "--from", "20", "--to", "29")
    start, end = streams[0].positions[20] - 8, streams[0].positions[30] - 8
    shown = picture.report["shown"]
    equal([shown[key] for key in ("position", "end", "firstFrame", "endFrame")], [start, end, 20, 30], "shown")
    equal((shown["startSeconds"], shown["endSeconds"]), (0.8, 1.2), "time")
    scale = picture.scale("file")
    equal((scale["from-x"], scale["to-x"]), (start, end), "scale")
    for number, kind in enumerate(("video", "audio")):
        chunks = streams[number].chunks[20:30]
        equal((picture.lane(kind, number)["chunks"], picture.lane(kind, number)["bytes"]), (10, stored(chunks)), kind)
        equal(picture.report["rates"][number]["bytes"], sum(map(len, chunks)), f"rate of {kind}")
    equal(picture.report["interleave"]["frames"], 10, "frames compared")


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


def test_texts_end_inside_the_narrowest_picture(kravi):
    data = avi.simple_avi(avi.standard_streams(40))
    for damage in (0, 1000):
        for width in (600, 700, 1200):
            picture = mapped(kravi, data[:len(data) - damage], "--width", str(width), code=1 if damage else 0)
            for text in picture.root.iter(SVG + "text"):
                style = text.get("class") or ""
                size = 20 if "name" in style else 14 if "heading" in style else 11 if "small" in style else 12
                if text.get("transform") or text.get("text-anchor"):
                    continue
                end = float(text.get("x")) + len(text.text) * size * 0.52  # less than letters take on average
                check(end <= width, f"{width} pixels: {text.text} ends at {end}")
    help_text = exit_code(kravi("map", "--help"), 0).out
    check("600 to 2400" in help_text and ".htm)" in help_text, help_text)


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


def test_a_hundred_thousand_chunks(kravi):
    frames = [avi.payload(number % 50, 30 + number % 50) for number in range(100)]
    streams = [avi.video([frames[number % 100] for number in range(50000)]),
               avi.pcm([bytes(8)] * 50000, rate=50)]
    data = avi.simple_avi(streams)
    start = time.monotonic()
    picture = mapped(kravi, data, "--width", "2400")
    check(time.monotonic() - start < 30, f"{time.monotonic() - start} seconds")
    check(len(picture.text) < 300000, f"{len(picture.text)} characters")
    check_lanes(picture, len(data))
    bins = picture.lane("index")["bins"]
    near(bins[-1], len(data) / len(bins), "bytes of the index in the last bin")
    equal(sum(part["frames"] for part in picture.report["interleave"]["bins"] if part), 50000, "frames compared")
