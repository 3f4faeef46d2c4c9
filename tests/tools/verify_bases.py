"""Good files, and how one of them is changed so that its sizes and indexes still fit."""

import struct

import avi_builder as avi


class Patient:
    """A file to be damaged."""

    def __init__(self, data):
        self.data = bytearray(data)

    def find(self, what, number=0, start=0):
        position = self.data.index(what, start)
        for _ in range(number):
            position = self.data.index(what, position + 1)
        return position

    def field(self, what, offset, number=0):
        """Position of a field in the data of a chunk."""
        return self.find(what, number) + 8 + offset

    def entry(self, number, offset=0):
        return self.find(b"idx1") + 8 + 16 * number + offset

    def standard(self, entry, offset=0, number=0):
        """Position of an entry of the first video index."""
        return self.find(b"ix00", number) + 32 + 8 * entry + offset

    def get(self, position, code="<I"):
        return struct.unpack_from(code, self.data, position)[0]

    def put(self, position, value, code="<I"):
        """Returns the position."""
        if isinstance(value, bytes):
            self.data[position:position + len(value)] = value
        else:
            struct.pack_into(code, self.data, position, value)
        return position

    def add(self, position, value, code="<I"):
        return self.put(position, self.get(position, code) + value, code)

    def chunk(self, number, chunk_id=b"00dc"):
        """Position of a data chunk, by its number among those with the id."""
        return self.find(chunk_id, number, self.find(b"movi"))

    def insert(self, position, extra, *lists):
        """Inserts space; the named lists grow, and indexes are adjusted. Returns the position."""
        self.follow(position, len(extra), lists)
        self.data[position:position] = extra
        return position

    def remove(self, position, count, *lists):
        self.follow(position, -count, lists)
        del self.data[position:position + count]
        return position

    def follow(self, position, shift, lists):
        """Shifts index entries past a position; lists grow or shrink."""
        movi = self.data.find(b"movi")
        old = self.data.find(b"idx1")
        if old >= 0 and position > movi:
            for entry in range(old + 8, old + 8 + self.get(old + 4), 16):
                if self.get(entry + 8) + movi >= position:
                    self.add(entry + 8, shift)
        for number in range(self.data.count(b"indx")):
            index = self.find(b"indx", number) + 8
            for entry in range(self.get(index + 4)):
                if self.get(index + 24 + 16 * entry, "<Q") >= position:
                    self.add(index + 24 + 16 * entry, shift, "<Q")
        for name in (b"ix00", b"ix01"):
            for number in range(self.data.count(name)):
                index = self.find(name, number) + 8
                if self.get(index + 12, "<Q") >= position:
                    self.add(index + 12, shift, "<Q")
        for name in lists:
            start = self.data.rindex(name.encode(), 0, position)
            self.add(start + 4 if name in ("RIFF", "idx1") else start - 4, shift)


def streams(frames=6):
    return avi.standard_streams(frames)


def marked():
    """Absolute offsets with the marker, as in files of the library's writer."""
    data = Patient(avi.simple_avi(streams(), relative=False))
    first = struct.pack("<4sIII", b"7Fxx", 0, data.find(b"movi") + 4, 0)
    data.insert(data.find(b"idx1") + 8, first, "RIFF", "idx1")
    return bytes(data.data)


def both():
    """OpenDML in one segment, followed by an 'idx1'."""
    tracks = streams()
    data = Patient(avi.open_dml_avi(tracks, segments=1))
    movi = data.find(b"movi")
    entries = b"".join(struct.pack("<4sIII", avi.chunk_id(number, tracks[number]), 0x10,
                                   tracks[number].positions[place] - 8 - movi, len(tracks[number].chunks[place]))
                       for number, place in avi.interleaved(tracks))
    data.insert(len(data.data), avi.chunk(b"idx1", entries), "RIFF")
    return bytes(data.data)


def inner(sub_type, words):
    """A super index that holds the entries of the chunks itself."""
    tracks = streams()
    data = Patient(avi.simple_avi(tracks))
    head = struct.pack("<HBBI4sQI", words, sub_type, 1, 6, b"00dc", 0, 0)
    size = len(avi.chunk(b"indx", head + bytes(6 * 4 * words)))
    entries = b"".join(struct.pack("<II", tracks[0].positions[number] + size, len(tracks[0].chunks[number])) +
                       bytes(4 * words - 8) for number in range(6))
    data.insert(data.find(b"strl", 1) - 8, avi.chunk(b"indx", head + entries), "RIFF", "hdrl", "strl")
    return bytes(data.data)


def raw(row, **options):
    """Uncompressed pictures of 63 x 48 pixels with rows of so many bytes."""
    data = Patient(avi.simple_avi([avi.video([avi.payload(number, 48 * row) for number in range(6)], width=63, **options)]))
    data.put(data.field(b"avih", 32), 63)
    return bytes(data.data)


def sound_last():
    tracks = streams(40)
    return avi.simple_avi(tracks, order=[(number, place) for number in range(2) for place in range(40)])


# The built files, and their findings without damage.
BASES = {
    "simple": (lambda: avi.simple_avi(streams()), set()),
    "private": (lambda: avi.simple_avi(streams(), before_movi=avi.private_chunks()), set()),
    "dml": (lambda: avi.open_dml_avi(streams()), {"idx1-absent"}),
    "both": (both, set()),
    "marked": (marked, {"idx1-marker", "idx1-offsets-marked"}),
    "absolute": (lambda: avi.simple_avi(streams(), relative=False), {"idx1-offsets-absolute"}),
    "inner": (lambda: inner(0, 2), {"indx-missing"}),
    "fields": (lambda: inner(1, 3), {"indx-missing"}),
    "groups": (lambda: avi.simple_avi(streams(), groups=3), {"rec-list", "index-missing"}),
    "plain": (lambda: avi.simple_avi(streams(), idx1=False), {"index-missing"}),
    "empty": (lambda: avi.simple_avi([avi.video([b"", b"ab", b"", b"", b"cd"])]), {"chunk-empty"}),
    "rgb": (lambda: raw(192, compression=bytes(4)), set()),
    "v210": (lambda: raw(256, compression=b"v210", bits=20), set()),
    "far": (sound_last, {"sound-far"}),
    "run": (lambda: avi.simple_avi([avi.video([b"ab", *[b""] * 5])]), {"chunk-empty", "chunk-empty-run"}),
}


def base(name):
    return BASES[name][0]()
