#!/usr/bin/env python3
"""Draws small copies of some frames of an MJPEG file on one sheet: contact_sheet.py CLIP OUT.png"""

import io
import sys

import kravi
from PIL import Image

COLUMNS, ROWS, WIDTH = 4, 3, 160


def main(path: str, out: str) -> None:
    with kravi.open(path) as f:
        v = f.video
        height = WIDTH * v.height // v.width
        sheet = Image.new("RGB", (COLUMNS * WIDTH, ROWS * height))
        for place in range(COLUMNS * ROWS):
            number = v.stored(place * len(v) // (COLUMNS * ROWS))
            picture = Image.open(io.BytesIO(v[number]))
            sheet.paste(picture.resize((WIDTH, height)), (place % COLUMNS * WIDTH, place // COLUMNS * height))
    sheet.save(out)
    print(f"{out}: {COLUMNS * ROWS} of {len(v)} frames")


if __name__ == "__main__":
    main(*sys.argv[1:])
