"""Recordings that go on: files that another program is still writing."""

import os
import time
from collections.abc import Iterator
from enum import Enum

from .reader import Reader


class State(Enum):
    """What a recording does, as of the last refresh.

    On Linux a program that does not lock its files counts as writing only while the file changes: a pause in its
    writing looks like the end. Those that write with this library lock them.
    """

    RECORDING = 1
    COMPLETE = 2
    ABANDONED = 3  #: nobody writes it, and it is not complete


class Recording(Reader):
    """A file that grows: all that a `Reader` has, as of the last `refresh`. It keeps nobody from recording."""

    def __init__(self, path: "str | os.PathLike[str]") -> None:
        super().__init__(path, growing=True)
        self._has_news = False  # that some stream has not taken in
        self.refresh()  # the state is found by a look that has nothing new

    @property
    def state(self) -> State:
        """As of the last refresh."""
        return State(self._file.growing_state())

    def refresh(self) -> bool:
        """Takes in what was added to the file; whether there is anything new."""
        with self._file.loading:
            self._has_news = news = self._file.refresh() or self._has_news
            if news:
                for stream in self.streams:
                    stream._refresh()
            self._has_news = False
        return news

    def frames(self, first: int = 0, poll: float = 0.1, patience: float = 2.0) -> Iterator[tuple[int, bytes]]:
        """Number and bytes of each frame from `first` on, as they come, until the recording is complete or abandoned.

        `poll` is how many seconds pass between looks at the file while there is nothing new, `patience` how long an abandoned
        recording may be without news before this ends: its program may have paused.
        """
        video, number = self.video, first
        last_news = time.monotonic()
        while True:
            state = self.state
            while number < len(video):
                yield number, video[number]
                number += 1
            if state is State.COMPLETE or state is State.ABANDONED and time.monotonic() - last_news >= patience:
                return
            if self.refresh():
                last_news = time.monotonic()
            elif self.state is not State.COMPLETE:
                time.sleep(poll)


def follow(path: "str | os.PathLike[str]") -> Recording:
    """Opens a file that may still be being written, by this or another process.

    >>> with kravi.follow("clip.avi") as f:
    ...     print(f.state.name, sum(1 for number, data in f.frames()))
    COMPLETE 50
    """
    return Recording(path)
