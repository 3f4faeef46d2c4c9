"""Builds small AVI files for the tests of kravi, and records the position of each part."""

import struct


def chunk(chunk_id, data):
    return chunk_id + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def lst(list_type, *parts):
    return chunk(b"LIST", list_type + b"".join(parts))


def video_format(width=64, height=48, bits=24, compression=b"MJPG"):
    return struct.pack("<IiiHH4sIiiII", 40, width, height, 1, bits, compression, width * abs(height) * 3, 0, 0, 0, 0)


def pcm_format(rate=48000, channels=2, bits=16):
    align = channels * bits // 8
    return struct.pack("<HHIIHH", 1, channels, rate, rate * align, align, bits)


def stream_header(kind, handler, scale, rate, length, sample_size, start=0):
    return struct.pack("<4s4sIHHIIIIIIII4H", kind, handler, 0, 0, 0, 0, scale, rate, start, length, 0, 0xFFFFFFFF,
                       sample_size, 0, 0, 0, 0)


class Stream:
    """A stream: its header, its format, and the data of its chunks."""

    def __init__(self, kind, fmt, chunks, scale=1, rate=25, sample_size=0, handler=b"\0\0\0\0", name=None):
        self.kind, self.fmt, self.chunks = kind, fmt, chunks
        self.scale, self.rate, self.sample_size = scale, rate, sample_size
        self.handler, self.name = handler, name
        self.start = 0  # units before the first one
        self.positions = []  # of the payloads, set by the builder
        self.more = b""  # chunks at the end of the stream's list
        self.keys = None  # numbers of the key frames; None: all

    def is_key(self, place):
        return self.keys is None or place in self.keys

    def units(self):
        return sum(map(len, self.chunks)) // self.sample_size if self.sample_size else len(self.chunks)


def video(frames, scale=1, rate=25, **options):
    return Stream(b"vids", video_format(**options), frames, scale, rate, handler=b"MJPG")


def pcm(chunks, rate=48000, channels=2, bits=16, **options):
    fmt = pcm_format(rate, channels, bits)
    return Stream(b"auds", fmt, chunks, 1, rate, channels * bits // 8, **options)


def payload(seed, size):
    """Bytes that differ from chunk to chunk, with a long period."""
    return bytes((seed * 37 + index * index + index // 251) & 0xFF for index in range(size))


def chunk_id(number, stream):
    return b"%02x" % number + (b"dc" if stream.kind == b"vids" else b"wb")


def interleaved(streams):
    """(stream number, chunk number) in file order."""
    for place in range(max(len(stream.chunks) for stream in streams)):
        for number, stream in enumerate(streams):
            if place < len(stream.chunks):
                yield number, place


def header_list(streams, frames, super_indexes=None, flags=0x10, total=None):
    first = streams[0]
    micro = 1000000 * first.scale // first.rate if first.rate else 0
    parts = [chunk(b"avih", struct.pack("<14I", micro, 0, 0, flags, frames, 0, len(streams), 0, 64, 48, 0, 0, 0, 0))]
    for number, stream in enumerate(streams):
        inner = [chunk(b"strh", stream_header(stream.kind, stream.handler, stream.scale, stream.rate, stream.units(),
                                              stream.sample_size, stream.start)),
                 chunk(b"strf", stream.fmt)]
        if super_indexes:
            inner.append(chunk(b"indx", super_indexes[number]))
        if stream.name is not None:
            inner.append(chunk(b"strn", stream.name))
        inner.append(stream.more)
        parts.append(lst(b"strl", *inner))
    if total is not None:
        parts.append(lst(b"odml", chunk(b"dmlh", struct.pack("<I", total))))
    return lst(b"hdrl", *parts)


def simple_avi(streams, idx1=True, before_movi=b"", groups=0, relative=True, order=None):
    """AVI 1.0. `groups`: 'rec ' lists with the chunks of that many frames each, and no 'idx1'. `order`: the
    order of the chunks, as from interleaved()."""
    for stream in streams:
        stream.positions = []
    head = header_list(streams, len(streams[0].chunks)) + before_movi
    movi_start = 12 + len(head) + 8  # of the list's type
    movi = bytearray(b"movi")
    entries = bytearray()
    order = order or list(interleaved(streams))
    step = groups * len(streams) if groups else len(order)
    for first in range(0, len(order), max(step, 1)):
        group = bytearray(b"rec ") if groups else bytearray()
        base = movi_start + len(movi) + (8 if groups else 0)
        for number, place in order[first:first + step]:
            data = streams[number].chunks[place]
            position = base + len(group)
            streams[number].positions.append(position + 8)
            offset = position - (movi_start if relative else 0)
            flags = 0x10 if streams[number].is_key(place) else 0
            entries += struct.pack("<4sIII", chunk_id(number, streams[number]), flags, offset, len(data))
            group += chunk(chunk_id(number, streams[number]), data)
        movi += chunk(b"LIST", bytes(group)) if groups else group
    body = b"AVI " + head + chunk(b"LIST", bytes(movi))
    if idx1 and not groups:
        body += chunk(b"idx1", bytes(entries))
    return chunk(b"RIFF", body)


def open_dml_avi(streams, segments=2):
    """OpenDML: the frames spread over segments, a standard index for each stream in each segment."""
    for stream in streams:
        stream.positions = []
    total = len(streams[0].chunks)
    slots = segments
    empty = [struct.pack("<HBBI4s3I", 4, 0, 0, segments, chunk_id(number, stream), 0, 0, 0) + bytes(16 * slots)
             for number, stream in enumerate(streams)]
    supers = [bytearray(one) for one in empty]
    head_size = len(header_list(streams, total, empty, total=total))
    order = list(interleaved(streams))
    per_segment = -(-len(order) // segments)
    bodies = []
    start = 0  # of the segment in the file
    for segment in range(segments):
        before = head_size if segment == 0 else 0
        movi_data = start + 12 + before + 12
        movi = bytearray()
        found = {number: [] for number in range(len(streams))}
        for number, place in order[segment * per_segment:(segment + 1) * per_segment]:
            data = streams[number].chunks[place]
            position = movi_data + len(movi) + 8
            streams[number].positions.append(position)
            found[number].append((position, len(data) | (0 if streams[number].is_key(place) else 0x80000000)))
            movi += chunk(chunk_id(number, streams[number]), data)
        for number, stream in enumerate(streams):
            base = movi_data
            index = struct.pack("<HBBI4sQI", 2, 0, 1, len(found[number]), chunk_id(number, stream), base, 0)
            index += b"".join(struct.pack("<II", position - base, size) for position, size in found[number])
            position = movi_data + len(movi)
            size = stream.sample_size
            duration = sum(length // size for _, length in found[number]) if size else len(found[number])
            struct.pack_into("<QII", supers[number], 24 + 16 * segment, position, len(index) + 8, duration)
            movi += chunk(b"ix%02x" % number, index)
        bodies.append(bytes(movi))
        start += 12 + before + 12 + len(movi)
    head = header_list(streams, total, [bytes(one) for one in supers], total=total)
    out = b""
    for segment, movi in enumerate(bodies):
        form = b"AVI " + head if segment == 0 else b"AVIX"
        out += chunk(b"RIFF", form + chunk(b"LIST", b"movi" + movi))
    return out


def stretched(data, chunk, length):
    """The start of a file in which the chunk at a position extends to `length`, as do the lists around it."""
    head = bytearray(data[:chunk + 8])
    for position in (4, head.rindex(b"movi") - 4, chunk + 4):
        struct.pack_into("<I", head, position, length - position - 4)
    return bytes(head)


def private_chunks(scan_mode=1, horizontal=64, vertical=45):
    krla = b"korin-avi".ljust(16, b"\0") + b"\0\0\0\x0f\0" + bytes([scan_mode])
    krla += struct.pack(">II", horizontal, vertical)
    prma = b"PARf" + struct.pack(">III", 20, 0x10000, horizontal) + struct.pack(">I", vertical)
    ctsi = struct.pack("<I", 0x20000) + bytes(8) + b"\xff" * 12 + bytes([scan_mode])
    return chunk(b"KrlA", krla.ljust(508, b"\0")) + chunk(b"PrmA", prma) + chunk(b"CtsI", ctsi.ljust(196, b"\0"))


def standard_streams(frames=12, audio=1):
    """A video stream with odd and even frame sizes, and PCM streams of 1920 sample frames for each frame."""
    streams = [video([payload(number, 301 + number) for number in range(frames)])]
    for track in range(audio):
        streams.append(pcm([payload(100 * (track + 1) + number, 1920 * 4) for number in range(frames)]))
    return streams
