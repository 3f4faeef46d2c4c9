"""The streams of a file: chunks as bytes, pictures and sound as NumPy arrays."""

import bisect
from collections.abc import Iterator, Sequence
from fractions import Fraction
from functools import cached_property
from typing import TYPE_CHECKING, Any, SupportsIndex, overload

from . import errors
from ._arrays import numpy_module
from ._file import File
from ._library import StreamRecord
from .index import ChunkIndex
from .pictures import Layout
from .sound import SoundFormat

if TYPE_CHECKING:
    import numpy
    from numpy.typing import NDArray


class Part(Sequence[bytes]):
    """Some chunks of a stream, which are read when they are asked for."""

    def __init__(self, stream: "Stream", numbers: range) -> None:
        self._stream, self.numbers = stream, numbers

    def __len__(self) -> int:
        return len(self.numbers)

    @overload
    def __getitem__(self, item: SupportsIndex) -> bytes: ...

    @overload
    def __getitem__(self, item: slice) -> "Part": ...

    def __getitem__(self, item: SupportsIndex | slice) -> "bytes | Part":
        if isinstance(item, slice):
            return Part(self._stream, self.numbers[item])
        return self._stream[self.numbers[item]]


class Stream(Sequence[bytes]):
    """A stream of any type: ``stream[i]`` is the bytes of a chunk, ``stream[a:b]`` a lazy sequence of them.

    May be used on any number of threads at once.
    """

    def __init__(self, file: File, number: int, record: StreamRecord) -> None:
        self._file = file
        self._index: ChunkIndex | None = None
        self._has_palette = False
        self.number = number  #: in the order of the file's headers
        self.type = fourcc(record.type)  #: ``vids``, ``auds``, ``txts``, ...
        self.handler = fourcc(record.handler)  #: FourCC of the codec, as the header has it
        self.format = file.stream_format(number, record.format_size)  #: BITMAPINFOHEADER, WAVEFORMATEX, ...
        self.rate = Fraction(record.rate, record.scale) if record.scale else Fraction(0)  #: units per second
        self.start = record.start / self.rate if self.rate else Fraction(0)  #: in seconds
        self.length = int(record.length)  #: in units, according to the header
        self.sample_size = int(record.sample_size)  #: bytes of a unit; 0: each chunk is one

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self.number} of {self._file.path!r}>"

    @property
    def chunks(self) -> ChunkIndex:
        """Where each chunk lies in the file. It is loaded when it is needed first."""
        if self._index is None:
            with self._file.loading:
                if self._index is None:
                    self._index = self._load_index()
        return self._index

    def _load_index(self) -> ChunkIndex:
        try:
            return ChunkIndex(self._file, self.number, self._has_palette)
        except errors.StreamError:
            raise errors.StreamError(f"{self._file.path}: stream {self.number} has no index that can be read; "
                                     "`kravi recover` makes a file with one") from None

    def _refresh(self) -> None:
        if self._index is not None:
            self._index.refresh()

    def __len__(self) -> int:
        return len(self.chunks)

    @overload
    def __getitem__(self, item: SupportsIndex) -> bytes: ...

    @overload
    def __getitem__(self, item: slice) -> Sequence[bytes]: ...

    def __getitem__(self, item: SupportsIndex | slice) -> bytes | Sequence[bytes]:
        if isinstance(item, slice):
            return Part(self, range(len(self))[item])
        index = self._index
        if index is None:
            index = self.chunks
        position, size, _ = index.entry(item)
        return self._file.read(position, size)

    def __iter__(self) -> Iterator[bytes]:
        return (self[number] for number in range(len(self)))

    def read(self, number: SupportsIndex, out: Any) -> int:
        """Reads the bytes of a chunk into a writable buffer, such as an array, without a copy; returns how many."""
        position, size, _ = self.chunks.entry(number)
        return self._file.read_into(position, size, out)


class VideoStream(Stream):
    """Pictures. ``v[i]`` is the bytes of frame `i` as stored; `frame` makes arrays of uncompressed ones."""

    def __init__(self, file: File, number: int, record: StreamRecord) -> None:
        super().__init__(file, number, record)
        header = self.format.ljust(40, b"\0")
        self.width = int.from_bytes(header[4:8], "little", signed=True)
        self.height = abs(int.from_bytes(header[8:12], "little", signed=True))
        self.bits = int.from_bytes(header[14:16], "little")  #: for each pixel
        self._has_palette = 0 < self.bits <= 8
        self.codec = fourcc(int.from_bytes(header[16:20], "little"))  #: FourCC; empty: uncompressed RGB

    @property
    def fps(self) -> Fraction:
        """Frames per second, exactly."""
        return self.rate

    @cached_property
    def layout(self) -> Layout | None:
        """How uncompressed pictures lie in their bytes; None: they are compressed."""
        return Layout.of_format(self.format)

    def _need_layout(self) -> Layout:
        if self.layout is None:
            raise errors.FormatError(f"{self._file.path}: pictures of {self.codec!r} are compressed; "
                                     "their bytes are for a decoder")
        return self.layout

    def stored(self, number: SupportsIndex) -> int:
        """The frame whose bytes are shown: an empty chunk repeats the one before."""
        index = self.chunks
        found = index.number(number)
        if index.entry(found)[1]:
            return found
        filled = index.filled()
        place = bisect.bisect_right(filled, found)
        if place == 0:
            raise errors.FormatError(f"{self._file.path}: frame {number} has no bytes, nor has one before it")
        return filled[place - 1]

    def _stored_bytes(self, number: SupportsIndex, out: Any) -> Any:
        position, size, _ = self.chunks.entry(self.stored(number))
        numpy = numpy_module()
        if out is None:
            out = numpy.empty(size, numpy.uint8)
        self._file.read_into(position, size, out)
        return numpy.frombuffer(out, numpy.uint8, size)

    def frame(self, number: SupportsIndex, out: Any = None) -> "NDArray[Any]":
        """An uncompressed picture as a NumPy array: a view of `out`, or of new memory. Shapes: see `kravi.pictures`."""
        layout = self._need_layout()
        return layout.view(self._stored_bytes(number, out))

    def planes(self, number: SupportsIndex, out: Any = None) -> "tuple[NDArray[Any], ...]":
        """The planes Y, U and V of an uncompressed YUV picture."""
        layout = self._need_layout()
        return layout.planes(self._stored_bytes(number, out))

    def rgb(self, number: SupportsIndex) -> "NDArray[numpy.uint8]":
        """A picture with a palette or in RGB as an array (height, width, 3) of red, green and blue."""
        layout = self._need_layout()
        data = self._stored_bytes(number, None)
        if not layout.palette:
            return layout.rgb(data)
        colours = numpy_module().zeros((256, 3), numpy_module().uint8)  # pixels may be beyond the palette
        palette = self.palette_of(number)
        colours[:len(palette)] = palette
        return colours[layout.view(data)]  # type: ignore[no-any-return]

    @property
    def palette(self) -> "NDArray[numpy.uint8]":
        """The palette of the header as an array (entries, 3) of red, green and blue."""
        return self._need_layout().colours()

    def palette_of(self, number: SupportsIndex) -> "NDArray[numpy.uint8]":
        """The palette of a picture: that of the header with the changes before the picture."""
        number = self.chunks.number(number)
        found = self.palette.copy()
        for place, position, size in self.chunks.palette_changes:
            if place > number:
                break
            data = self._file.read(position, size)
            count = min(data[1] or 256, len(found) - data[0], (size - 4) // 4)
            for entry in range(count):
                found[data[0] + entry] = tuple(data[4 + 4 * entry:7 + 4 * entry])
        return found

    @property
    def keyframes(self) -> list[int]:
        """The numbers of the frames that can be decoded alone, according to the index."""
        return self.chunks.keys()

    def key_before(self, number: SupportsIndex) -> int:
        """The last key frame at or before a frame: where a decoder has to start."""
        number = self.chunks.number(number)
        keys = self.keyframes
        place = bisect.bisect_right(keys, number)
        if place == 0:
            raise errors.StreamError(f"{self._file.path}: no key frame at or before frame {number}")
        return keys[place - 1]


class AudioStream(Stream):
    """Sound. ``a[i]`` is the bytes of chunk `i`; `samples` makes arrays of PCM."""

    def __init__(self, file: File, number: int, record: StreamRecord) -> None:
        super().__init__(file, number, record)
        self.sound = SoundFormat.of_format(self.format)

    @property
    def channels(self) -> int:
        return self.sound.channels

    @property
    def sample_rate(self) -> int:
        """Sample frames per second."""
        return self.sound.rate

    @property
    def bits(self) -> int:
        """Of a sample."""
        return self.sound.bits

    @property
    def sample_count(self) -> int:
        """Sample frames of PCM in all chunks."""
        self.sound.need_pcm()
        ends = self.chunks.ends()
        return ends[-1] // self.sound.align if ends else 0

    def data(self, first: int = 0, last: int | None = None) -> bytearray:
        """The bytes of the sample frames `first` to `last`, without the last; of PCM only."""
        first, last, _ = slice(first, last).indices(self.sample_count)
        start, end = first * self.sound.align, max(first, last) * self.sound.align
        found = bytearray(end - start)
        ends = self.chunks.ends()
        number = bisect.bisect_right(ends, start)
        done = start
        while done < end:
            position, size, _ = self.chunks.entry(number)
            skipped = done - (ends[number] - size)
            count = min(size - skipped, end - done)
            done += self._file.read_into(position + skipped, count, found, done - start)
            number += 1
        return found

    def samples(self, first: int = 0, last: int | None = None) -> "NDArray[Any]":
        """The sample frames `first` to `last`, without the last, as an array (sample frames, channels)."""
        return self.sound.view(self.data(first, last))


def fourcc(number: SupportsIndex) -> str:
    """A FourCC as text; empty for 0."""
    return int(number).to_bytes(4, "little").decode("latin-1") if number else ""


KINDS: dict[str, type[Stream]] = {"vids": VideoStream, "auds": AudioStream}


def streams_of(file: File) -> tuple[Stream, ...]:
    """All streams, in the order of the file's headers."""
    found = []
    for number in range(file.stream_count()):
        record = file.stream(number)
        found.append(KINDS.get(fourcc(record.type), Stream)(file, number, record))
    return tuple(found)
