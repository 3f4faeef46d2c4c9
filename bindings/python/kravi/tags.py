"""The tags of a file: the texts of its 'INFO' lists."""

import struct
from collections.abc import Iterator

from ._file import File

MOST_CHUNKS, MOST_TEXT = 10_000, 1 << 20  # of a damaged file


def _chunks(file: File, start: int, end: int) -> Iterator[tuple[bytes, int, int]]:
    """Id, position and size of the chunks between two positions."""
    for _ in range(MOST_CHUNKS):
        if start + 8 > end:
            return
        name, size = struct.unpack("<4sI", file.read(start, 8))
        if name == b"RIFF" and size == 0:  # a recording that was never completed
            size = end - start - 8
        size = min(size, end - start - 8)
        yield name, start + 8, size
        start += 8 + size + size % 2


def _lists(file: File, start: int, end: int) -> Iterator[tuple[bytes, int, int]]:
    """Type, position and size of what is in the lists between two positions."""
    for name, position, size in _chunks(file, start, end):
        if name in (b"RIFF", b"LIST") and size >= 4:
            yield file.read(position, 4), position + 4, size - 4


def _text(data: bytes) -> str:
    data = data.split(b"\0", 1)[0]
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError:
        return data.decode("cp1252", "replace")


def tags_of(file: File) -> dict[str, str]:
    """The texts by their FourCC, such as ``INAM`` for the title. Of two with the same id the first counts."""
    found: dict[str, str] = {}

    def add(start: int, size: int) -> None:
        for name, position, length in _chunks(file, start, start + size):
            found.setdefault(name.decode("latin-1"), _text(file.read(position, min(length, MOST_TEXT))))

    for form, start, size in _lists(file, 0, file.size()):
        if form != b"AVI ":
            continue
        for kind, position, length in _lists(file, start, start + size):
            if kind == b"INFO":
                add(position, length)
            elif kind == b"hdrl":
                for inner, place, count in _lists(file, position, position + length):
                    if inner == b"INFO":
                        add(place, count)
    return found
