"""What recover makes of a file of another program that was cut, overwritten by zeros, or lost its indexes.

Everything whole must come back in its order, what follows a gap must keep its time, and each loss must be counted. The
source is walked here, without kravi.
"""

import os
import struct

import avi_reader

ENTERED = (b"movi", b"rec ")
FRAMES, SOUND, PALETTE = (b"dc", b"db"), b"wb", b"pc"
WHERE_CUT, ZEROS_FROM, ZEROS_TO = 0.6, 0.4, 0.48  # shares of the chunks


class Chunk:
    def __init__(self, name, position, size):
        self.name, self.position, self.size = name, position, size
        self.stream = int(name[:2], 16)

    @property
    def end(self):
        return self.position + self.size

    def is_of(self, stream):
        return self.stream == stream and self.name[2:] != PALETTE

    def payload(self, data):
        return data[self.position:self.end]


def is_data(name):
    return name[:2].isdigit() and name[2:].isalpha() and name[2:] != b"ix"


def walked(data):
    """The data chunks of a file, and the positions of its indexes' ids. Sizes of lists are not needed."""
    chunks, indexes, position = [], [], 0
    while position + 8 <= len(data):
        name, size = struct.unpack_from("<4sI", data, position)
        if name == b"RIFF" or (name == b"LIST" and data[position + 8:position + 12] in ENTERED):
            position += 12
            continue
        if name == b"LIST" and data[position + 8:position + 12] == b"hdrl":
            super_index = data.find(b"indx", position, position + size)
            while super_index >= 0:
                indexes.append(super_index)
                super_index = data.find(b"indx", super_index + 4, position + size)
        if is_data(name):
            chunks.append(Chunk(name, position + 8, size))
        elif name == b"idx1" or name[:2] == b"ix":
            indexes.append(position)
        position += 8 + size + size % 2
    return chunks, indexes


class Damages:
    """One file and what recover makes of it. `recover` takes a path and returns the copy's bytes and the report."""

    def __init__(self, path, folder, recover):
        with open(path, "rb") as file:
            self.data = file.read()
        self.chunks, self.indexes = walked(self.data)
        self.headers = [struct.unpack_from("<4s4sIHHIIIIIIII", stream[b"strh"]) for stream in avi_reader.streams(self.data)]
        self.folder, self.recover = folder, recover

    def after(self, data):
        path = os.path.join(self.folder, "damaged.avi")
        with open(path, "wb") as file:
            file.write(data)
        return self.recover(path)

    def of(self, stream):
        return [chunk for chunk in self.chunks if chunk.is_of(stream)]

    def payloads(self, chunks):
        return [(chunk.name[2:], chunk.payload(self.data)) for chunk in chunks]

    def is_counted(self, stream):
        """Whether its header announces as many frames as there are."""
        return self.headers[stream][0] == b"vids" and self.headers[stream][9] == len(self.of(stream))

    def place(self, share):
        """The number of a frame or block of sound with bytes that can be cut."""
        return next(number for number in range(int(len(self.chunks) * share), len(self.chunks))
                    if self.chunks[number].size > 4 and self.chunks[number].name[2:] != PALETTE)

    def lost_frames(self, report, wanted):
        video = next((number for number, header in enumerate(self.headers) if header[0] == b"vids"), None)
        if video is None or not self.is_counted(video) or report["framesLost"] in wanted(video):
            return []
        return [f"frames lost {report['framesLost']}, not {wanted(video)}"]

    def cut(self):
        last = self.chunks[self.place(WHERE_CUT)]
        end = last.position + last.size // 2
        copy, report = self.after(self.data[:end])
        whole = [chunk for chunk in self.chunks if chunk.end <= end]
        found = [] if avi_reader.data_chunks(copy) == named(self.payloads(whole), whole) else ["chunks differ"]
        return found + self.lost_frames(report, lambda video: [
            sum(chunk.is_of(video) for chunk in self.chunks) - sum(chunk.is_of(video) for chunk in whole)])

    def without_index(self):
        data = bytearray(self.data)
        for position in self.indexes:
            data[position:position + 4] = b"JUNK"
        copy, report = self.after(data)
        found = [] if avi_reader.data_chunks(copy) == named(self.payloads(self.chunks), self.chunks) else ["chunks differ"]
        return found + self.lost_frames(report, lambda video: [0])

    def zeroed(self):
        first, last = self.place(ZEROS_FROM), self.place(ZEROS_TO)
        start = self.chunks[first].position + self.chunks[first].size // 2
        end = self.chunks[last].position + self.chunks[last].size // 2
        copy, report = self.after(self.data[:start] + bytes(end - start) + self.data[end:])
        found, new = [], avi_reader.data_chunks(copy)
        for stream, header in enumerate(self.headers):
            before = [chunk for chunk in self.chunks[:first] if chunk.is_of(stream)]
            after = [chunk for chunk in self.chunks[last + 1:] if chunk.is_of(stream)]
            there = [payload for name, payload in new if int(name[:2]) == stream and name[2:] != PALETTE]
            found += self.in_time(stream, header, before, after, there)
        palettes = [chunk.payload(self.data) for chunk in self.chunks[:first] + self.chunks[last + 1:] if chunk.name[2:] == PALETTE]
        if [payload for name, payload in new if name[2:] == PALETTE] != palettes:
            found.append("palettes differ")
        gone = self.chunks[first + 1:last + 1]
        return found + self.lost_frames(report, lambda video: [
            sum(chunk.is_of(video) for chunk in gone) + more for more in (0, 1)])  # of the first one the header is left

    def in_time(self, stream, header, before, after, there):
        """Whether what lies before and after the zeros is where it was, in the stream's own units."""
        wanted = [[chunk.payload(self.data) for chunk in part] for part in (before, after)]
        if header[0] != b"vids" and header[11] != 0:
            sound, parts = b"".join(there), [b"".join(part) for part in wanted]
            total = sum(chunk.size for chunk in self.of(stream))
            ends = [sound[:len(parts[0])] == parts[0], sound[len(sound) - len(parts[1]):] == parts[1]]
            off, allowed = abs(len(sound) - total), header[11] - 1
        else:
            total = len(self.of(stream))
            ends = [there[:len(before)] == wanted[0], there[len(there) - len(after):] == wanted[1]]
            off, allowed = abs(len(there) - total), 0
        return [text for text, holds in ((f"stream {stream} differs before the zeros", ends[0]),
                                         (f"stream {stream} differs after the zeros", ends[1]),
                                         (f"stream {stream} is off by {off}", off <= allowed)) if not holds]


def named(payloads, chunks):
    """As the copier names them: its numbers are decimal."""
    return [(b"%02d" % chunk.stream + kind, payload) for (kind, payload), chunk in zip(payloads, chunks)]
