"""Files: `open` and what it returns."""

import os
from functools import cached_property
from types import TracebackType
from typing import Any, Self

from . import errors
from ._file import File, why_not_avi
from .references import references_of
from .streams import AudioStream, Stream, VideoStream, streams_of
from .tags import tags_of


class Reader:
    """An open file. It may be used on any number of threads at once."""

    def __init__(self, path: "str | os.PathLike[str]", growing: bool = False) -> None:
        self._file = File(path, growing)
        self.path = self._file.path  #: as it was given
        try:
            self.streams: tuple[Stream, ...] = streams_of(self._file)  #: all of them, in the file's order
            if not self.streams:
                raise errors.FormatError(f"{self.path}: {why_not_avi(self.path)}")
        except Exception:
            self._file.close()
            raise

    def __enter__(self) -> Self:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self.path!r}{' closed' if self._file.closed else ''}>"

    def close(self) -> None:
        """Closes the file; again has no effect."""
        self._file.close()

    @property
    def size(self) -> int:
        """Bytes of the file."""
        return self._file.size()

    @property
    def video(self) -> VideoStream:
        """The first video stream."""
        for stream in self.streams:
            if isinstance(stream, VideoStream):
                return stream
        raise errors.StreamError(f"{self.path}: no video stream")

    @property
    def audio(self) -> AudioStream:
        """The first sound stream."""
        for stream in self.streams:
            if isinstance(stream, AudioStream):
                return stream
        raise errors.StreamError(f"{self.path}: no sound stream")

    @cached_property
    def tags(self) -> dict[str, str]:
        """Title, artist and other texts, by their FourCC: ``INAM``, ``IART``, ..."""
        return tags_of(self._file)

    def references(self, stream: int | None = None, url: str | None = None) -> dict[str, Any]:
        """The index of uncompressed pictures as a Kerchunk reference set: see `kravi.references`."""
        chosen = self.video if stream is None else self.streams[stream]
        if not isinstance(chosen, VideoStream):
            raise errors.StreamError(f"{self.path}: stream {stream} is not video")
        return references_of(chosen, os.path.abspath(self.path) if url is None else url)


def open(path: "str | os.PathLike[str]") -> Reader:  # pylint: disable=redefined-builtin
    """Opens an AVI file for reading.

    >>> with kravi.open("clip.avi") as f:
    ...     print(len(f.video), f.video.fps, f.video.codec)
    50 25 MJPG

    Raises FileNotFoundError and its kin where the system has a reason, `kravi.FormatError` where the file is not an AVI file.
    """
    return Reader(path)
