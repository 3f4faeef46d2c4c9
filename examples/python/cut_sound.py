#!/usr/bin/env python3
"""Saves the sound between two moments as a NumPy file: cut_sound.py CLIP FROM TO OUT.npy (seconds)"""

import sys

import kravi
import numpy


def main(path: str, first: str, last: str, out: str) -> None:
    with kravi.open(path) as f:
        a = f.audio
        samples = a.samples(round(float(first) * a.sample_rate), round(float(last) * a.sample_rate))
    numpy.save(out, samples)
    print(f"{out}: {samples.shape[0]} sample frames of {samples.shape[1]} channels, {samples.dtype}")


if __name__ == "__main__":
    main(*sys.argv[1:])
