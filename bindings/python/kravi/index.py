"""The index of a stream: where each of its chunks lies in the file."""

import itertools
import struct
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, NamedTuple, overload

from ._file import File

if TYPE_CHECKING:
    import numpy
    import numpy.typing

ENTRY = struct.Struct("=QII")  # position, size, flags
KEY = 1  # flag of a key frame


class Chunk(NamedTuple):
    """A chunk of a stream."""

    position: int  #: of its first byte in the file
    size: int  #: in bytes; an empty chunk of video repeats the picture before it
    key: bool  #: whether it can be decoded alone


class ChunkIndex(Sequence[Chunk]):
    """The chunks of a stream in the order of its index: ``index[i]`` is a `Chunk`, ``len(index)`` their number."""

    def __init__(self, file: File, stream: int) -> None:
        self._file, self._stream = file, stream
        self._entries: bytes | bytearray = file.load_index(stream, 0)

    def refresh(self) -> None:
        """Adds what a growing file has gained."""
        if not isinstance(self._entries, bytearray):
            self._entries = bytearray(self._entries)
        self._entries += self._file.load_index(self._stream, len(self))

    def __len__(self) -> int:
        return len(self._entries) // 16

    def entry(self, number: int) -> tuple[int, int, int]:
        """Position, size and flags of a chunk; negative numbers count from the end."""
        at = number * 16
        if at < 0:
            at += len(self._entries)
        if not 0 <= at < len(self._entries):
            raise IndexError(f"{self._file.path}: stream {self._stream} has {len(self)} chunks, not {number}")
        position, size, flags = ENTRY.unpack_from(self._entries, at)
        return position, size, flags

    @overload
    def __getitem__(self, item: int) -> Chunk: ...

    @overload
    def __getitem__(self, item: slice) -> list[Chunk]: ...

    def __getitem__(self, item: int | slice) -> Chunk | list[Chunk]:
        if isinstance(item, slice):
            return [self[number] for number in range(len(self))[item]]
        position, size, flags = self.entry(item)
        return Chunk(position, size, bool(flags & KEY))

    def keys(self) -> list[int]:
        """The numbers of the key frames."""
        words = memoryview(self._entries).cast("I")[3::4]
        return [number for number, flags in enumerate(words) if flags & KEY]

    def ends(self) -> list[int]:
        """Where each chunk ends when their bytes are put one after the other."""
        return list(itertools.accumulate(memoryview(self._entries).cast("I")[2::4]))

    def array(self) -> "numpy.typing.NDArray[Any]":
        """All entries as a NumPy array with the fields ``position``, ``size`` and ``flags`` (1: key frame)."""
        import numpy
        fields = [("position", numpy.uint64), ("size", numpy.uint32), ("flags", numpy.uint32)]
        return numpy.frombuffer(bytes(self._entries), fields)
