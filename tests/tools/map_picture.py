"""Pictures of kravi map as shapes and texts, and the numbers in their reports."""

import math
import re
from xml.etree import ElementTree

from kravi_runner import check, equal, exit_code

SVG = "{http://www.w3.org/2000/svg}"


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
