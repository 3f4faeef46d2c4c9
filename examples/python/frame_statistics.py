#!/usr/bin/env python3
"""Prints mean, deviation, least and greatest value of each uncompressed frame: frame_statistics.py CLIP"""

import sys

import kravi
import numpy


def main(path: str) -> None:
    with kravi.open(path) as f:
        v = f.video
        memory = numpy.empty(max(chunk.size for chunk in v.chunks), numpy.uint8)  # for all frames in turn
        for number in range(len(v)):
            picture = v.frame(number, memory)
            print(f"{number:6} {picture.mean():8.2f} {picture.std():8.2f} {picture.min():6} {picture.max():6}")


if __name__ == "__main__":
    main(*sys.argv[1:])
