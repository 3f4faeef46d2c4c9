"""kravi map: all streams of a file, and what its picture says of time."""

import os
import random
import struct
import time

import avi_builder as avi
from kravi_runner import check, equal, exit_code
from map_picture import SVG, Picture, mapped, near


def test_sound_alone_and_pictures_alone(kravi):
    alone = mapped(kravi, avi.simple_avi([avi.video([avi.payload(1, 500)] * 9)]))
    equal((alone.report["interleave"], len(alone.report["rates"])), (None, 1), "pictures alone")
    check(any("no frames with audio" in text for text in alone.texts()), "words for the missing panel")
    sound = mapped(kravi, avi.simple_avi([avi.pcm([avi.payload(1, 7680)] * 50)]), code=1)
    equal((sound.report["interleave"], [series["kind"] for series in sound.report["rates"]]), (None, ["audio"]), "sound")
    equal(sound.report["rates"][0]["bytes"], 50 * 7680, "bytes of sound")
    check(os.path.getsize(kravi.path("map.svg")) > 5000, "picture")


def test_every_stream_has_its_charts(kravi):
    streams = avi.standard_streams(75, audio=4)
    late = [(3, place) for place in range(75)]
    order = [pair for pair in avi.interleaved(streams) if pair[0] != 3] + late
    picture = mapped(kravi, avi.simple_avi(streams, order=order), code=1)
    rates = [(row["kind"], row["stream"]) for row in picture.report["rates"]]
    equal(rates, [("video", 0)] + [("audio", number) for number in range(1, 5)], "rates")
    equal([row["bytes"] for row in picture.report["rates"][1:]], [75 * 7680] * 4, "bytes")
    styles = [picture.groups[name].find(SVG + "path[@class]").get("class") if name != "rate-video" else "video-line"
              for name in ("rate-video", "rate-audio", "rate-audio-2", "rate-audio-3", "rate-audio-4")]
    equal(len(set(styles)), 5, f"different lines: {styles}")
    equal([(row["stream"], row["isFar"]) for row in picture.report["interleaves"]],
          [(1, False), (2, False), (3, True), (4, False)], "interleave")
    equal(picture.report["findings"], ["audio 3 is far from its picture: up to 2.960 s late; the limit is 1 s"], "findings")
    for stream in range(1, 5):
        bars, far = picture.bars("interleave-time" if stream == 1 else f"interleave-time-{stream}")
        equal((len(bars), bool(far)), (75, stream == 3), f"bars of stream {stream}")


def test_time_across_holes(kravi):
    """What is lost is in the index, so that the rest keeps its time."""
    streams = avi.standard_streams(100)
    data = bytearray(avi.simple_avi(streams))
    start, end = streams[0].positions[30] - 8, streams[0].positions[60] - 8
    data[start:end] = bytes(end - start)
    picture = mapped(kravi, bytes(data), code=1)
    equal((picture.report["shown"]["endSeconds"], picture.report["shown"]["endFrame"]), (4.0, 100), "whole time")
    check(any("70 frames, 4.000 s" in text for text in picture.texts("title")), str(picture.texts("title")))
    for stream, series in zip(streams, picture.report["rates"]):
        sizes = [sum(map(len, stream.chunks[first:first + 5])) for first in range(0, 100, 5)]
        equal(series["bins"], sizes[:6] + [0] * 6 + sizes[12:], f"bytes of {series['kind']}")
    interleave = picture.report["interleave"]
    equal((interleave["frames"], interleave["seconds"]), (70, [0.0, 0.0]), "frames that are there beside their sound")
    whole = mapped(kravi, avi.simple_avi(streams))
    equal(whole.report["largest"], [], "equal sound")


def test_key_frames_are_marked(kravi):
    streams = avi.standard_streams(60)
    streams[0].keys = {0, 12, 24, 50}
    for build in (avi.simple_avi, avi.open_dml_avi):
        picture = mapped(kravi, build(streams))
        [row] = picture.report["keyFrames"]
        equal((row["stream"], row["frames"], row["keyFrames"], sum(row["bins"])), (0, 60, 4, 4), "report")
        lines = picture.points("keys")
        equal(len(lines), 8, "two ends of each line")
        for number, key in enumerate(sorted(streams[0].keys)):
            near(lines[2 * number][0], picture.x("file", streams[0].positions[key] - 8), f"key frame {key}")
        check(any("4 key frames" in text for text in picture.texts("title")), "facts")
    part = mapped(kravi, build(streams), "--from", "12", "--to", "40")
    equal(part.report["keyFrames"][0]["keyFrames"], 2, "in a part")
    streams[0].keys = None
    check("all 60 frames" in mapped(kravi, build(streams)).texts("keys"), "all of them")
    equal(mapped(kravi, avi.simple_avi(streams, idx1=False), code=1).report["keyFrames"], [], "without an index")


def test_headers_and_indexes_of_a_gigabyte(kravi):
    """Holes take no space on the disk."""
    data = avi.simple_avi([avi.video([avi.payload(1, 500), avi.payload(2, 500)])])
    index = data.rindex(b"idx1")
    large = 1 << 30
    head = bytearray(data[:index] + b"JUNK" + struct.pack("<I", large))
    struct.pack_into("<I", head, 4, len(data) + large)
    movi = data.index(b"movi")
    struct.pack_into("<I", head, movi - 4, struct.unpack_from("<I", head, movi - 4)[0] + large + 8)
    with open(kravi.path("large.avi"), "wb") as file:
        file.write(head)
        file.seek(index + 8 + large)
        file.write(data[index:])
    report = exit_code(kravi("map", "large.avi", "-o", "map.svg", "--json"), 0).json()
    picture = Picture(kravi.read("map.svg").decode("utf-8"), report)
    for lane in ("headers", "index"):
        corners = picture.points(f"lane-{lane}")
        width, height = (max(ends) - min(ends) for ends in zip(*corners))
        check(width >= 4 - 0.1 and height >= 9, f"{lane}: {width} x {height} pixels")
    rects = list(picture.groups["parts"].iter(SVG + "rect"))
    for rect in rects:
        check(float(rect.get("width")) >= 4, f"list of {rect.get('width')} pixels")
    check(next(rects[-1].iter(SVG + "title")).text.startswith("'hdrl'"), "the small list is on top")


def test_legend_has_what_is_there(kravi):
    data = avi.simple_avi(avi.standard_streams(40))
    for damage in (0, 1000):
        picture = mapped(kravi, data[:len(data) - damage], code=1 if damage else 0)
        equal(picture.texts("legend"), ["damage"] * bool(damage) + ["height: share of the bytes at that place"], "legend")


def boxes(picture):
    """Where texts are, by less than the letters take on average."""
    for text in picture.root.iter(SVG + "text"):
        style = text.get("class") or ""
        size = 20 if "name" in style else 14 if "heading" in style else 11 if "small" in style else 12
        if text.get("transform"):
            continue
        width = len(text.text) * size * 0.5
        left = float(text.get("x")) - {"end": width, "middle": width / 2}.get(text.get("text-anchor"), 0)
        yield left, float(text.get("y")) - size * 0.7, left + width, float(text.get("y")), text.text


def test_labels_do_not_collide(kravi):
    source = random.Random(5)
    streams = avi.standard_streams(75, audio=4)
    for stream, count in ((0, 12), (1, 3)):
        for _ in range(count):
            place = source.randrange(75)
            streams[stream].chunks[place] = avi.payload(place, source.randrange(2000, 9000) * 4)
    streams[0].keys = {0, 20}
    order = [pair for pair in avi.interleaved(streams) if pair[0] != 4] + [(4, place) for place in range(75)]
    whole = avi.simple_avi(streams, order=order)
    hole = bytearray(whole)
    hole[60000:70000] = source.randbytes(10000)
    for data in (whole, bytes(hole[:-9000]), avi.open_dml_avi(streams, segments=5), whole + avi.chunk(b"00dc", bytes(5000))):
        for width in (600, 1200):
            kravi.write("clip.avi", data)
            kravi("map", "clip.avi", "-o", "map.svg", "--force", "--width", str(width))
            picture = Picture(kravi.read("map.svg").decode("utf-8"), {})
            inside = [group.get("id") for group in picture.groups["file"]]
            check(inside[-1] == "marks" and len(picture.texts("marks")) == 11, f"numbers on top of damage: {inside}")
            found = list(boxes(picture))
            for number, (left, top, right, bottom, text) in enumerate(found):
                check(left >= 0 and right <= width, f"{width} pixels: {text!r} from {left} to {right}")
                for other in found[:number]:
                    apart = other[2] <= left or right <= other[0] or other[3] <= top or bottom <= other[1]
                    check(apart, f"{width} pixels: {text!r} over {other[4]!r}")


def test_sound_without_bits_is_described(kravi):
    streams = avi.standard_streams(10)
    streams[1].fmt = struct.pack("<HHIIHHH", 85, 2, 44100, 16000, 1, 0, 0)
    picture = mapped(kravi, avi.simple_avi(streams))
    check(any("format 85, 44,100 Hz, 2 channels" in text for text in picture.texts("title")), str(picture.texts("title")))
