"""Recording: pictures and sound into a new file."""

import ctypes
import os
import threading
import weakref
from ctypes import byref, c_void_p
from dataclasses import dataclass
from fractions import Fraction
from types import TracebackType
from typing import Any, Self

from . import _library, errors
from ._library import lib
from .pictures import Layout, usual_bits
from .sound import PCM, SoundFormat

RATES = {Fraction(24000, 1001): 0, Fraction(24): 1, Fraction(25): 2, Fraction(30000, 1001): 3, Fraction(30): 4,
         Fraction(50): 5, Fraction(60000, 1001): 6, Fraction(60): 7}
SCAN_MODES = {"unknown": -1, "upper": 0, "lower": 1, "progressive": 2}
ASPECT_MODES = {"4:3": 0, "16:9": 1, "square": 3}
POWER_SAFE, SILENCE = 1, 2
MOST_BYTES = 0xFFFFFFFF  # of a submission


@dataclass(frozen=True)
class Options:
    """How a file is recorded. The defaults are for data that come faster than they can be written."""

    queue_limit: int = 64 << 20  #: most bytes in the queue; then `write` waits. 0: no limit
    queue_wait_ms: int = _library.FOR_EVER  #: how long it waits for room before it raises `kravi.RefusedError`
    chunk_spacing_ms: int = 0  #: least time between two chunks that are written
    submission_delay_ms: int = 0  #: how long each `write` sleeps on purpose
    audio_wait_ms: int = _library.FOR_EVER  #: how long a picture waits for late sound
    silence: bool = False  #: late sound is replaced by silence
    power_safe: bool = False  #: data is on the disk before an index names it
    preallocation: int = 0  #: bytes reserved ahead on the disk


@dataclass(frozen=True)
class Sound:
    """PCM sound of a new file."""

    rate: int = 48000  #: sample frames per second
    channels: int = 2
    bits: int = 16  #: of a sample: 8, 16, 24 or 32


@dataclass(frozen=True)
class Status:
    """What a recording has done since the file was opened."""

    open: bool
    write_failed: bool  #: the recording has stopped
    flush_failed: bool  #: the recording goes on
    super_index_full: bool  #: later chunks are in no OpenDML index
    sound_is_late: bool  #: pictures are written whose sound has not come
    system_error: int  #: of the first failed write or flush; 0: none
    segments: int
    frames_written: int
    audio_chunks_written: int
    bytes_written: int
    queued_frames: int
    queued_audio_chunks: int
    queued_bytes: int
    most_queued_bytes: int
    samples_refused: int
    samples_passed_over: int
    longest_write_us: int
    longest_flush_us: int
    frames_in_index: int  #: that whoever opens the file now finds


STATE_BITS = ("open", "write_failed", "flush_failed", "super_index_full", "sound_is_late")


class Writer:
    """A new file of one video stream and, with `sound`, one of PCM; an existing file is replaced.

    `codec` is the FourCC of the frames, such as ``"MJPG"``; without one they are uncompressed RGB of `bits` bits a pixel, and may
    be arrays as `VideoStream.frame` returns them: blue, green, red, the highest row first. Without `bits` pixels have as many as
    the codec usually has, or 24.

    >>> with kravi.Writer("new.avi", 64, 48, fps=25, codec="MJPG") as w:
    ...     for picture in pictures:
    ...         w.write(picture)
    >>> w.status().frames_written
    50

    All methods may be called on any number of threads at once.
    """

    def __init__(self, path: "str | os.PathLike[str]", width: int, height: int, *, fps: Fraction | float | str = 25,
                 codec: str = "", bits: int = 0, sound: Sound | None = None, options: Options | None = None,
                 scan_mode: str = "progressive", aspect: str = "square", display: tuple[int, int] = (0, 0)) -> None:
        self._handle: int | None = None
        self._process = os.getpid()
        self._closing = threading.Lock()  # one thread at a time closes
        self.path, name = _library.encoded(path)
        bits = bits or usual_bits(codec)
        self.layout = Layout.of(codec, width, height, bits)
        self.sound = sound
        clip = _library.ClipRecord(
            width=width, height=height, display_width=display[0], display_height=display[1], codec=fourcc_number(codec),
            bit_count=bits, frame_rate=rate_number(fps), scan_mode=choice(SCAN_MODES, scan_mode, "scan_mode"),
            aspect_mode=choice(ASPECT_MODES, aspect, "aspect"), audio_channels=sound.channels if sound else 0,
            audio_samples_per_sec=sound.rate if sound else 0, audio_bits_per_sample=sound.bits if sound else 0)
        handle = c_void_p()
        self._check(lib.kr_writer_create(byref(handle)))
        self._handle = handle.value
        # Completes the file, at the latest when Python ends.
        self._free = weakref.finalize(self, _release, handle.value or 0, self._process)
        try:
            self._check(lib.kr_writer_set_options(handle, byref(record_of(options or Options()))))
            self._check(lib.kr_writer_open(handle, name, byref(clip)))
        except Exception:
            self._free()
            raise

    def __enter__(self) -> Self:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        try:
            self.close()
        except Exception:
            if error is None:  # else the first error counts
                raise

    def _check(self, result: int) -> None:
        if result < 0:
            last = _library.ErrorRecord()
            if self._handle is not None:
                lib.kr_writer_last_error(self._handle, byref(last))
            raise _library.exception(result, self.path, last)

    def write(self, picture: Any) -> None:
        """Queues a picture: its bytes, or an array as `VideoStream.frame` returns it. They are copied."""
        if hasattr(picture, "dtype") and self.layout is not None:
            picture = self.layout.pack(picture)
        self._submit(lib.kr_writer_copy_video, picture)

    def write_sound(self, samples: Any) -> None:
        """Queues sound: bytes of whole sample frames, or an array (sample frames, channels). They are copied."""
        if hasattr(samples, "dtype") and self.sound is not None:
            bits, channels = self.sound.bits, self.sound.channels
            samples = SoundFormat(PCM, channels, self.sound.rate, bits, channels * bits // 8).pack(samples)
        self._submit(lib.kr_writer_copy_audio, samples)

    def _submit(self, function: Any, data: Any) -> None:
        view = memoryview(data)
        if not view.c_contiguous:
            raise ValueError("the bytes must be contiguous")
        if view.nbytes > MOST_BYTES:
            raise ValueError(f"{view.nbytes} bytes; a chunk has at most {MOST_BYTES}")
        if isinstance(data, bytes):
            self._check(function(self._handle, data, len(data)))
        elif view.readonly:
            self._check(function(self._handle, view.tobytes(), view.nbytes))
        else:
            start = ctypes.c_char.from_buffer(data) if view.nbytes else None
            self._check(function(self._handle, None if start is None else byref(start), view.nbytes))

    def status(self) -> Status:
        """What the recording has done; kept after the close. Never waits."""
        try:
            return self._current_status()
        except errors.ClosedError:
            return self._status

    def _current_status(self) -> Status:
        record = _library.StatusRecord()
        self._check(lib.kr_writer_status(self._handle, byref(record)))
        flags = {name: bool(record.state & 1 << place) for place, name in enumerate(STATE_BITS)}
        counts: dict[str, Any] = {name: int(getattr(record, name)) for name in Status.__dataclass_fields__ if name not in flags}
        return Status(**flags, **counts)

    def close(self) -> None:
        """Writes what is queued, completes the file and closes it; again, or in a forked child, this has no effect.

        Raises OSError when a write has failed, `kravi.IncompleteError` when the file lacks something that was submitted.
        """
        with self._closing:
            if self._handle is None or self._process != os.getpid():
                return
            try:
                self._check(lib.kr_writer_close(self._handle))
            finally:
                self._status = self._current_status()
                self._handle = None
                self._free()


def _release(handle: int, process: int) -> None:
    """Closes and frees a writer, whose thread a forked child does not have."""
    if os.getpid() == process:
        lib.kr_writer_free(handle)


def record_of(options: Options) -> _library.OptionsRecord:
    flags = POWER_SAFE * options.power_safe | SILENCE * options.silence
    return _library.OptionsRecord(
        chunk_spacing_ms=options.chunk_spacing_ms, submission_delay_ms=options.submission_delay_ms,
        queue_wait_ms=options.queue_wait_ms, queue_limit=options.queue_limit, audio_wait_ms=options.audio_wait_ms,
        flags=flags, preallocation=options.preallocation)


def rate_number(fps: Fraction | float | str) -> int:
    """The number of a frame rate that can be written; 29.97 means 30000/1001."""
    wanted = Fraction(fps)
    nearest = min(RATES, key=lambda rate: abs(rate - wanted))
    if abs(nearest - wanted) > Fraction(1, 200):
        raise ValueError(f"{fps} frames per second; a file can have {', '.join(map(str, RATES))}")
    return RATES[nearest]


def fourcc_number(codec: str) -> int:
    if len(codec) not in (0, 4):
        raise ValueError(f"{codec!r} is not a FourCC: four characters, such as 'MJPG'")
    return int.from_bytes(codec.encode("latin-1"), "little")


def choice(table: dict[str, int], name: str, what: str) -> int:
    if name not in table:
        raise ValueError(f"{what} {name!r}; possible are {', '.join(table)}")
    return table[name]
