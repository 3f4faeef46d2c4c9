"""Takes small AVI files apart, chunk by chunk, for the tests of kravi."""

import struct

LISTS = (b"RIFF", b"LIST")


def chunks(data, start=0, end=None):
    """(id, type of a list or nothing, position of the payload, payload) of the chunks of a stretch."""
    end = len(data) if end is None else end
    while start + 8 <= end:
        name, size = struct.unpack_from("<4sI", data, start)
        kind = data[start + 8:start + 12] if name in LISTS else None
        yield name, kind, start + 8, data[start + 8:start + 8 + size]
        start += 8 + size + size % 2


def inside(data, *path):
    """The chunks of the first list at a path of list types: inside(data, b"hdrl", b"strl")."""
    for kind in path:
        data = next(payload[4:] for _, its, _, payload in chunks(data) if its == kind)
    return list(chunks(data))


def segments(data):
    return [payload[4:] for name, _, _, payload in chunks(data) if name == b"RIFF"]


def first(data, name, *path):
    """The payload of the first chunk of a name in the first segment."""
    return next(payload for its, _, _, payload in inside(segments(data)[0], *path) if its == name)


def streams(data):
    """A dictionary of the chunks of each 'strl'."""
    return [{name: body for name, _, _, body in chunks(payload[4:])}
            for _, kind, _, payload in inside(segments(data)[0], b"hdrl") if kind == b"strl"]


def data_chunks(data):
    """(id, payload) of all chunks of all 'movi' lists, without indexes."""
    return [(name, payload) for segment in segments(data) for name, _, _, payload in inside(segment, b"movi")
            if not name.startswith(b"ix")]


def of_stream(data, number):
    return [payload for name, payload in data_chunks(data) if name[:2] == b"%02d" % number]


def old_index(data):
    """(id, flags) of the entries of 'idx1'."""
    return [struct.unpack_from("<4sI", entry) for entry in entries_of(first(data, b"idx1"))]


def entries_of(index):
    return [index[place:place + 16] for place in range(0, len(index), 16)]
