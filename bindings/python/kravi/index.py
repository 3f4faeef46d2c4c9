"""The index of a stream: where each of its chunks lies in the file."""

import ctypes
import itertools
import struct
from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any, NamedTuple, overload

from . import errors
from ._arrays import numpy_module
from ._file import File

if TYPE_CHECKING:
    import numpy
    import numpy.typing

    Entries = ctypes.Array[ctypes.c_char] | bytes | bytearray

ENTRY = struct.Struct("=QII")  # position, size, flags
_unpack_from: Callable[["Entries", int], Any] = ENTRY.unpack_from
KEY = 1  # flag of a key frame
MOST_PALETTE = 4 + 4 * 256  # bytes of a change of the palette


class Chunk(NamedTuple):
    """A chunk of a stream."""

    position: int  #: of its first byte in the file
    size: int  #: in bytes; an empty chunk of video repeats the picture before it
    key: bool  #: whether it can be decoded alone


class ChunkIndex(Sequence[Chunk]):
    """The chunks of a stream in the order of its index: ``index[i]`` is a `Chunk`, ``len(index)`` their number."""

    def __init__(self, file: File, stream: int, has_palette: bool = False) -> None:
        self._file, self._stream, self._has_palette = file, stream, has_palette
        self._loaded = 0  # of the file's index
        #: Changes of the palette, which are no pictures: number of the next one, position and size of the change.
        self.palette_changes: list[tuple[int, int, int]] = []
        self._entries: Entries = b""
        self._entries = self._load()

    def refresh(self) -> None:
        """Adds what a growing file has gained."""
        if not isinstance(self._entries, bytearray):
            self._entries = bytearray(self._entries)
        self._entries += self._load()

    def _load(self) -> "Entries":
        try:
            entries = self._file.load_index(self._stream, self._loaded)
        except errors.StreamError:
            if not self._file.growing:
                raise
            return b""  # many programs write an index only when the recording ends
        self._loaded += len(entries) // 16
        return self._pictures_of(entries) if self._has_palette else entries

    def _pictures_of(self, entries: "Entries") -> bytes:
        """Without the changes of the palette, whose chunks have ids of their own."""
        pictures = bytearray()
        for entry in ENTRY.iter_unpack(entries):
            position, size, _ = entry
            if 4 < size <= MOST_PALETTE and self._file.read(position - 8, 4)[2:] == b"pc":
                self.palette_changes.append((len(self) + len(pictures) // 16, position, size))
            else:
                pictures += ENTRY.pack(*entry)
        return bytes(pictures)

    def __len__(self) -> int:
        return len(self._entries) // 16

    def entry(self, number: int) -> tuple[int, int, int]:
        """Position, size and flags of a chunk; negative numbers count from the end."""
        at = number * 16
        if at < 0:
            at += len(self._entries)
        if not 0 <= at < len(self._entries):
            raise IndexError(f"{self._file.path}: stream {self._stream} has {len(self)} chunks, not {number}")
        return _unpack_from(self._entries, at)  # type: ignore[no-any-return]

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
        return [number for number, (_, _, flags) in enumerate(ENTRY.iter_unpack(self._entries)) if flags & KEY]

    def ends(self) -> list[int]:
        """Where each chunk ends when their bytes are put one after the other."""
        return list(itertools.accumulate(size for _, size, _ in ENTRY.iter_unpack(self._entries)))

    def array(self) -> "numpy.typing.NDArray[Any]":
        """All entries as a NumPy array with the fields ``position``, ``size`` and ``flags`` (1: key frame)."""
        numpy = numpy_module()
        fields = [("position", numpy.uint64), ("size", numpy.uint32), ("flags", numpy.uint32)]
        entries: Any = bytes(self._entries) if isinstance(self._entries, bytearray) else self._entries
        found = numpy.frombuffer(entries, fields)
        found.flags.writeable = False
        return found  # type: ignore[no-any-return]
