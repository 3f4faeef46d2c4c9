#!/usr/bin/env python3
"""Makes the files that the benchmarks read: make_inputs.py FOLDER [LARGE_FRAMES [NAME]...]

Existing files are kept. LARGE_FRAMES (default 150) frames of 6 MB make the file of large frames. With names only those
files.
"""

import os
import struct
import sys

FRAMES = 180_000  # two hours at 25 per second
AUDIO_CHUNKS = 337_000
AUDIO_BYTES = 1024
PER_SEGMENT = 3_600  # frames of a segment of the OpenDML file
PATTERN = bytes((7 * number + 1) % 251 for number in range(8192))


def frame_bytes(number):
    return 1_500 + number * 37 % 1_001


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def lst(kind, *parts):
    return chunk(b"LIST", kind + b"".join(parts))


def header(frames, streams):
    """'hdrl' around the given stream lists."""
    main = struct.pack("<14I", 40_000, 0, 0, 0x10, frames, 0, len(streams), 8_192, 640, 360, 0, 0, 0, 0)
    return lst(b"hdrl", chunk(b"avih", main), *streams)


def video(frames, *more):
    head = struct.pack("<4s4sIHHIIIIIIII4H", b"vids", b"MJPG", 0, 0, 0, 0, 1, 25, 0, frames, 8_192, 0, 0, 0, 0, 640, 360)
    form = struct.pack("<IiiHH4sIiiII", 40, 640, 360, 1, 24, b"MJPG", 640 * 360 * 3, 0, 0, 0, 0)
    return lst(b"strl", chunk(b"strh", head), chunk(b"strf", form), *more)


def audio(chunks, *more):
    head = struct.pack("<4s4sIHHIIIIIIII4H", b"auds", b"\0\0\0\0", 0, 0, 0, 0, 1, 24_000, 0, chunks * AUDIO_BYTES // 2,
                       AUDIO_BYTES, 0, 2, 0, 0, 0, 0)
    form = struct.pack("<HHIIHH", 1, 1, 24_000, 48_000, 2, 16)
    return lst(b"strl", chunk(b"strh", head), chunk(b"strf", form), *more)


def data_chunks():
    """Names and sizes in file order: frames with the sound spread over them."""
    written = 0
    for number in range(FRAMES):
        yield b"00dc", frame_bytes(number)
        due = (number + 1) * AUDIO_CHUNKS // FRAMES
        for _ in range(due - written):
            yield b"01wb", AUDIO_BYTES
        written = due


def idx1(path):
    with open(path, "wb") as file:
        file.write(b"RIFF\0\0\0\0AVI " + header(FRAMES, [video(FRAMES), audio(AUDIO_CHUNKS)]))
        movi = file.tell()
        file.write(b"LIST\0\0\0\0movi")
        index = bytearray()
        for name, size in data_chunks():
            index += struct.pack("<4sIII", name, 0x10, file.tell() - movi - 8, size)
            file.write(chunk(name, PATTERN[:size]))
        end = file.tell()
        file.write(chunk(b"idx1", bytes(index)))
        patch(file, 4, file.tell() - 8)
        patch(file, movi + 4, end - movi - 8)


def patch(file, position, number):
    end = file.tell()
    file.seek(position)
    file.write(struct.pack("<I", number))
    file.seek(end)


class Segments:
    """An OpenDML file of many segments, each ending with a standard index of each stream."""

    def __init__(self, file, count):
        self.file, self.count = file, count
        self.entries = {b"00dc": [], b"01wb": []}  # of the super indexes
        supers = {name: chunk(b"indx", bytes(24 + 16 * count)) for name in self.entries}
        streams = [video(FRAMES, supers[b"00dc"]), audio(AUDIO_CHUNKS, supers[b"01wb"])]
        head = b"RIFF\0\0\0\0AVI " + header(FRAMES, streams)
        self.places = dict(zip(self.entries, (at for at in range(len(head)) if head.startswith(b"indx", at))))
        file.write(head)
        self.start, self.movi, self.pending = 0, None, None
        self.begin_movi()

    def begin_movi(self):
        self.movi = self.file.tell()
        self.file.write(b"LIST\0\0\0\0movi")
        self.pending = {name: [] for name in self.entries}

    def add(self, name, size):
        self.pending[name].append((self.file.tell() + 8 - self.movi, size))
        self.file.write(chunk(name, PATTERN[:size]))

    def end(self):
        for name, index in ((b"00dc", b"ix00"), (b"01wb", b"ix01")):
            entries = b"".join(struct.pack("<II", offset, size) for offset, size in self.pending[name])
            data = struct.pack("<HBBI4sQI", 2, 0, 1, len(self.pending[name]), name, self.movi, 0) + entries
            self.entries[name].append((self.file.tell(), len(data) + 8, len(self.pending[name])))
            self.file.write(chunk(index, data))
        patch(self.file, self.movi + 4, self.file.tell() - self.movi - 8)
        patch(self.file, self.start + 4, self.file.tell() - self.start - 8)

    def next(self):
        self.end()
        self.start = self.file.tell()
        self.file.write(b"RIFF\0\0\0\0AVIX")
        self.begin_movi()

    def finish(self):
        self.end()
        for name, place in self.places.items():
            entries = self.entries[name]
            self.file.seek(place + 8)
            self.file.write(struct.pack("<HBBI4s12x", 4, 0, 0, len(entries), name))
            for entry in entries:
                self.file.write(struct.pack("<QII", *entry))


def odml(path):
    with open(path, "wb") as file:
        segments = Segments(file, FRAMES // PER_SEGMENT)
        frames = 0
        for name, size in data_chunks():
            if name == b"00dc":
                if frames and frames % PER_SEGMENT == 0:
                    segments.next()
                frames += 1
            segments.add(name, size)
        segments.finish()


def dense(path, payload, chunks=700_000):
    with open(path, "wb") as file:
        file.write(b"RIFF\0\0\0\0AVI " + header(chunks, [video(chunks)]))
        movi = file.tell()
        file.write(b"LIST\0\0\0\0movi")
        data = chunk(b"00dc", PATTERN[:payload])
        block = data * 100
        for _ in range(chunks // 100):
            file.write(block)
        patch(file, movi + 4, file.tell() - movi - 8)
        patch(file, 4, file.tell() - 8)


def large(path, frames):
    with open(path, "wb") as file:
        file.write(b"RIFF\0\0\0\0AVI " + header(frames, [video(frames)]))
        movi = file.tell()
        file.write(b"LIST\0\0\0\0movi")
        index = bytearray()
        data = chunk(b"00dc", (PATTERN * 733)[:6_000_000])
        for _ in range(frames):
            index += struct.pack("<4sIII", b"00dc", 0x10, file.tell() - movi - 8, 6_000_000)
            file.write(data)
        end = file.tell()
        file.write(chunk(b"idx1", bytes(index)))
        patch(file, 4, file.tell() - 8)
        patch(file, movi + 4, end - movi - 8)


def zeros(path):
    with open(path, "wb") as file:
        file.write(b"RIFF\0\0\0\0AVI " + header(2, [video(2), audio(1)]))
        movi = file.tell()
        file.write(b"LIST\0\0\0\0movi" + chunk(b"00dc", PATTERN[:1000]))
        for _ in range(100):
            file.write(bytes(1_000_000))
        file.write(chunk(b"01wb", PATTERN[:1024]) + chunk(b"00dc", PATTERN[:1000]))
        patch(file, movi + 4, file.tell() - movi - 8)
        patch(file, 4, file.tell() - 8)


def main(folder, large_frames="150", *names):
    os.makedirs(folder, exist_ok=True)
    makers = {"idx1": idx1, "odml": odml, "zeros": zeros, "large": lambda path: large(path, int(large_frames))}
    for payload in (100, 1_000, 4_000):
        makers[f"dense{payload}"] = lambda path, payload=payload: dense(path, payload)
    for name, make in makers.items():
        path = os.path.join(folder, name + ".avi")
        if os.path.exists(path) or (names and name not in names):
            continue
        make(path + ".part")
        os.rename(path + ".part", path)
        print(f"{name}.avi: {os.path.getsize(path) / 1e6:.0f} MB")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
