"""The C library: finds it, declares what is used of it, and turns its results into exceptions.

The declarations follow KrRiffUtils/kr_riff.h; a test compares them. Calls through ctypes release the interpreter lock.
"""

import ctypes
import errno
import os
import sys
from ctypes import POINTER, Structure, c_char_p, c_int32, c_uint32, c_uint64, c_void_p
from typing import Any

from . import errors

ABI = "0.1"

OK, NOT_DECLARED, NOTHING_NEW = 0, 1, 2
ERROR_HANDLE, ERROR_ARGUMENT, ERROR_MEMORY, ERROR_CLOSED, ERROR_BUSY = -1, -2, -3, -4, -5
ERROR_NOT_FOUND, ERROR_ACCESS, ERROR_IN_USE, ERROR_OPEN = -7, -8, -9, -10
ERROR_FORMAT, ERROR_NO_STREAM, ERROR_NO_INDEX, ERROR_READ, ERROR_WRITE = -11, -12, -13, -14, -15
ERROR_REFUSED, ERROR_INCOMPLETE = -16, -17
FOR_EVER = 0xFFFFFFFF


class Record(Structure):
    """A record whose first field is its own size. Numbers that do not fit are refused, where ctypes would cut them."""

    def __init__(self, **fields: Any) -> None:
        super().__init__(size=ctypes.sizeof(self), **fields)
        for name, value in fields.items():
            if getattr(self, name) != value:
                raise ValueError(f"{name} {value}: not a number that can be stored")


class ErrorRecord(Record):
    _fields_ = [("size", c_uint32), ("result", c_int32), ("system_error", c_uint32), ("reserved", c_uint32)]


class StreamRecord(Record):
    _fields_ = [("size", c_uint32), ("type", c_uint32), ("handler", c_uint32), ("chunk_id", c_uint32), ("rate", c_uint32),
                ("scale", c_uint32), ("start", c_uint32), ("length", c_uint32), ("sample_size", c_uint32),
                ("suggested_buffer_size", c_uint32), ("format_size", c_uint32), ("flags", c_uint32),
                ("dropped_entries", c_uint32), ("reserved", c_uint32 * 3)]


class ClipRecord(Record):
    _fields_ = [("size", c_uint32), ("width", c_uint32), ("height", c_uint32), ("display_width", c_uint32),
                ("display_height", c_uint32), ("codec", c_uint32), ("bit_count", c_uint32), ("frame_rate", c_uint32),
                ("scan_mode", c_int32), ("aspect_mode", c_uint32), ("audio_channels", c_uint32),
                ("audio_samples_per_sec", c_uint32), ("audio_bits_per_sample", c_uint32), ("reserved", c_uint32 * 3)]


class OptionsRecord(Record):
    _fields_ = [("size", c_uint32), ("chunk_spacing_ms", c_uint32), ("submission_delay_ms", c_uint32),
                ("queue_wait_ms", c_uint32), ("queue_limit", c_uint64), ("audio_wait_ms", c_uint32), ("flags", c_uint32),
                ("preallocation", c_uint64), ("reserved", c_uint32 * 2)]


class StatusRecord(Record):
    _fields_ = [("size", c_uint32), ("state", c_uint32), ("system_error", c_uint32), ("segments", c_uint32),
                ("frames_written", c_uint64), ("audio_chunks_written", c_uint64), ("bytes_written", c_uint64),
                ("queued_frames", c_uint64), ("queued_audio_chunks", c_uint64), ("queued_bytes", c_uint64),
                ("most_queued_bytes", c_uint64), ("samples_refused", c_uint64), ("samples_passed_over", c_uint64),
                ("longest_write_us", c_uint64), ("longest_flush_us", c_uint64), ("frames_in_index", c_uint64),
                ("reserved", c_uint32 * 4)]


RECORDS = {"kr_error": ErrorRecord, "kr_stream": StreamRecord, "kr_clip": ClipRecord,
           "kr_recording_options": OptionsRecord, "kr_recording_status": StatusRecord}

FUNCTIONS: dict[str, list[Any]] = {
    "kr_reader_create": [POINTER(c_void_p)],
    "kr_reader_free": [c_void_p],
    "kr_reader_open": [c_void_p, c_char_p],
    "kr_reader_open_growing": [c_void_p, c_char_p],
    "kr_reader_refresh": [c_void_p],
    "kr_reader_growing_state": [c_void_p, POINTER(c_uint32)],
    "kr_reader_size": [c_void_p, POINTER(c_uint64)],
    "kr_reader_stream_count": [c_void_p, POINTER(c_uint32)],
    "kr_reader_stream": [c_void_p, c_uint32, POINTER(StreamRecord)],
    "kr_reader_stream_format": [c_void_p, c_uint32, c_void_p, c_uint32, POINTER(c_uint32)],
    "kr_reader_load_index": [c_void_p, c_uint32, c_uint64, POINTER(c_void_p)],
    "kr_reader_read": [c_void_p, c_uint64, c_void_p, c_uint32, POINTER(c_uint32)],
    "kr_reader_last_error": [c_void_p, POINTER(ErrorRecord)],
    "kr_index_entries": [c_void_p, POINTER(c_void_p), POINTER(c_uint64)],
    "kr_index_free": [c_void_p],
    "kr_writer_create": [POINTER(c_void_p)],
    "kr_writer_free": [c_void_p],
    "kr_writer_set_options": [c_void_p, POINTER(OptionsRecord)],
    "kr_writer_open": [c_void_p, c_char_p, POINTER(ClipRecord)],
    "kr_writer_copy_video": [c_void_p, c_void_p, c_uint32],
    "kr_writer_copy_audio": [c_void_p, c_void_p, c_uint32],
    "kr_writer_status": [c_void_p, POINTER(StatusRecord)],
    "kr_writer_close": [c_void_p],
    "kr_writer_last_error": [c_void_p, POINTER(ErrorRecord)],
}


def _find() -> str:
    """The library: that of KRAVI_LIBRARY, the one inside the package, or the system's."""
    name = "KrRiffUtilsC.dll" if sys.platform == "win32" else "libKrRiffUtilsC.so"
    inside = os.path.join(os.path.dirname(os.path.abspath(__file__)), name)
    chosen = os.environ.get("KRAVI_LIBRARY")
    if chosen:
        return chosen
    if os.path.exists(inside):
        return inside
    return name if sys.platform == "win32" else f"{name}.{ABI}"


def _load() -> ctypes.CDLL:
    library = ctypes.CDLL(_find())
    library.kr_version.restype = c_uint32
    library.kr_version.argtypes = []
    number = int(library.kr_version())
    version = f"{number // 10000}.{number // 100 % 100}"
    if version != ABI:
        raise ImportError(f"{library._name}: version {version} of the library; this package needs {ABI}")
    library.kr_error_text.restype = c_char_p
    library.kr_error_text.argtypes = [c_int32]
    for name, arguments in FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = c_int32
        function.argtypes = arguments
    return library


lib = _load()


def encoded(path: "str | os.PathLike[str]") -> tuple[str, bytes]:
    """The path as text, and as the library takes it."""
    name = os.fspath(path)
    if not isinstance(name, str):
        raise TypeError(f"a path is text or an os.PathLike of text, not {type(name).__name__}")
    if "\0" in name:
        raise ValueError(f"{name!r}: paths have no null characters")
    try:
        return name, name.encode("utf-8")
    except UnicodeEncodeError:
        raise ValueError(f"{name!r}: paths must be UTF-8") from None


_ERRNO = {ERROR_NOT_FOUND: errno.ENOENT, ERROR_ACCESS: errno.EACCES, ERROR_IN_USE: errno.EBUSY, ERROR_OPEN: errno.EIO,
          ERROR_READ: errno.EIO, ERROR_WRITE: errno.EIO}
_CLASSES = {ERROR_HANDLE: errors.ClosedError, ERROR_CLOSED: errors.ClosedError, ERROR_BUSY: errors.BusyError,
            ERROR_FORMAT: errors.FormatError, ERROR_NO_STREAM: errors.StreamError, ERROR_NO_INDEX: errors.StreamError,
            ERROR_REFUSED: errors.RefusedError, ERROR_INCOMPLETE: errors.IncompleteError}


def exception(result: int, path: str, last: ErrorRecord | None = None) -> Exception:
    """The exception for a result; `last` is the last error of the handle."""
    number = int(last.system_error) if last is not None and last.result == result else 0
    text = lib.kr_error_text(result).decode()
    if result in _ERRNO:
        if sys.platform == "win32" and number:
            return OSError(0, text, path, number)
        if result == ERROR_IN_USE:  # whose number says that a lock is taken
            return OSError(number or _ERRNO[result], text, path)
        return OSError(number or _ERRNO[result], os.strerror(number) if number else text, path)
    if result == ERROR_MEMORY:
        return MemoryError(path)
    if result == ERROR_ARGUMENT:
        return ValueError(f"{path}: {text}")
    return _CLASSES.get(result, errors.Error)(f"{path}: {text}")
