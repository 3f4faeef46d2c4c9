#!/usr/bin/env python3
"""Writes two seconds of a moving ramp with a tone: write_clip.py OUT"""

import sys

import kravi
import numpy

WIDTH, HEIGHT, FPS, RATE = 320, 240, 25, 48000


def main(path: str) -> None:
    ramp = numpy.arange(WIDTH, dtype=numpy.uint8)
    picture = numpy.zeros((HEIGHT, WIDTH, 3), numpy.uint8)  # blue, green, red
    times = numpy.arange(RATE // FPS) / RATE
    with kravi.Writer(path, WIDTH, HEIGHT, fps=FPS, sound=kravi.Sound(RATE, 2, 16)) as w:
        for number in range(2 * FPS):
            picture[:, :, 2] = ramp + 5 * number
            tone = 8000 * numpy.sin(2 * numpy.pi * 440 * (times + number / FPS))
            w.write(picture)
            w.write_sound(numpy.column_stack((tone, tone)).astype(numpy.int16))
    print(f"{path}: {w.status().frames_written} frames, {w.status().bytes_written} bytes")


if __name__ == "__main__":
    main(*sys.argv[1:])
