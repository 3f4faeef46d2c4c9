"""The index of a stream: where each of its chunks lies in the file."""

import ctypes
import itertools
import struct
from collections.abc import Callable, Iterable, Sequence
from operator import index as _integer
from typing import TYPE_CHECKING, Any, NamedTuple, SupportsIndex, overload

from . import errors
from ._arrays import numpy_module
from ._file import File

if TYPE_CHECKING:
    import numpy
    import numpy.typing

    Entries = ctypes.Array[ctypes.c_char] | bytes | bytearray
    Numbered = Iterable[tuple[int, tuple[int, int, int]]]

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
        self._lists: dict[str, tuple[int, list[int]]] = {}  # of how many entries each is, and the list
        self._entries: Entries = b""
        self._entries = self._load()

    def refresh(self) -> None:
        """Adds what a growing file has gained. One thread at a time; others may read meanwhile."""
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

    def entry(self, number: SupportsIndex) -> tuple[int, int, int]:
        """Position, size and flags of a chunk; negative numbers count from the end."""
        at = _integer(number) * 16
        entries = self._entries
        if at < 0:
            at += len(entries)
        if not 0 <= at < len(entries):
            raise self._no_chunk(number)
        return _unpack_from(entries, at)  # type: ignore[no-any-return]

    def number(self, number: SupportsIndex) -> int:
        """The number of a chunk, counted from the start."""
        try:
            return range(len(self))[number]
        except IndexError:
            raise self._no_chunk(number) from None

    def _no_chunk(self, number: SupportsIndex) -> IndexError:
        return IndexError(f"{self._file.path}: stream {self._stream} has {len(self)} chunks, not {number}")

    @overload
    def __getitem__(self, item: SupportsIndex) -> Chunk: ...

    @overload
    def __getitem__(self, item: slice) -> list[Chunk]: ...

    def __getitem__(self, item: SupportsIndex | slice) -> Chunk | list[Chunk]:
        if isinstance(item, slice):
            return [self[number] for number in range(len(self))[item]]
        position, size, flags = self.entry(item)
        return Chunk(position, size, bool(flags & KEY))

    def _list(self, name: str, found_in: "Callable[[Numbered, list[int]], list[int]]") -> list[int]:
        """A list that is made of the entries once, and continued with those that a growing file has gained."""
        seen, found = self._lists.get(name, (0, []))
        count = len(self)
        if seen < count:
            copy: Any = self._entries[16 * seen:16 * count]  # others may add to them meanwhile
            entries: Any = ENTRY.iter_unpack(copy)
            found = found + found_in(enumerate(entries, seen), found)
            self._lists[name] = (count, found)
        return found

    def keys(self) -> list[int]:
        """The numbers of the key frames."""
        return self._list("keys", lambda entries, _: [number for number, (_, _, flags) in entries if flags & KEY])

    def filled(self) -> list[int]:
        """The numbers of the chunks that are not empty."""
        return self._list("filled", lambda entries, _: [number for number, (_, size, _) in entries if size])

    def ends(self) -> list[int]:
        """Where each chunk ends when their bytes are put one after the other."""
        return self._list("ends", lambda entries, before: list(itertools.accumulate(
            (size for _, (_, size, _) in entries), initial=before[-1] if before else 0))[1:])

    def array(self) -> "numpy.typing.NDArray[Any]":
        """All entries as a NumPy array with the fields ``position``, ``size`` and ``flags`` (1: key frame)."""
        numpy = numpy_module()
        fields = [("position", numpy.uint64), ("size", numpy.uint32), ("flags", numpy.uint32)]
        entries: Any = bytes(self._entries) if isinstance(self._entries, bytearray) else self._entries
        found = numpy.frombuffer(entries, fields)
        found.flags.writeable = False
        return found  # type: ignore[no-any-return]
