#!/usr/bin/env python3
"""Reports on a recording while it is made, until it is complete: follow_recording.py CLIP"""

import sys

import kravi


def main(path: str) -> None:
    with kravi.follow(path) as f:
        total = 0
        for number, data in f.frames():
            total += len(data)
            if number % 25 == 0:
                print(f"frame {number}: {total} bytes", flush=True)
        print(f"{f.state.name.lower()}: {len(f.video)} frames, {total} bytes")


if __name__ == "__main__":
    main(*sys.argv[1:])
