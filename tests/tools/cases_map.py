"""kravi map: compares the shapes of pictures with the file, and with the numbers in the report."""

import re
import time

import avi_builder as avi
from kravi_runner import check, equal, exit_code
from map_picture import SVG, check_lanes, mapped, near, stored

PANELS = {"title", "file", "segments", "parts", "keys", "marks", "legend", "rate", "interleave-time", "interleave-bytes"}


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


def luminance(colour):
    shares = [int(colour[place:place + 2], 16) / 255 for place in (1, 3, 5)]
    red, green, blue = (share / 12.92 if share <= 0.04045 else ((share + 0.055) / 1.055) ** 2.4 for share in shares)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def test_colours_stand_out(kravi):
    """As accessibility guidelines want it: shapes by a contrast of 3, texts by 4.5, light and dark."""
    styles = mapped(kravi, avi.simple_avi(avi.standard_streams(3))).root.find(SVG + "style").text
    modes = re.findall(r":root\{([^}]*)\}", styles)
    equal(len(modes), 2, "light and dark")
    for mode in modes:
        colours = dict(re.findall(r"--(\w+):(#[0-9a-f]{6});", mode))
        paper = luminance(colours.pop("paper"))
        for name in ("grid", "list"):  # fills and lines that others stand on
            del colours[name]
        check(len(colours) > 12, f"{colours}")
        for name, colour in colours.items():
            low, high = sorted((luminance(colour), paper))
            contrast = (high + 0.05) / (low + 0.05)
            check(contrast >= (4.5 if name in ("ink", "soft", "damage") else 3), f"{name} {colour}: {contrast:.2f}")
