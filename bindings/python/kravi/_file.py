"""An open file: the handle of the C library, and the lock around what must not run twice at once."""

import ctypes
import os
import threading
from collections.abc import Callable
from ctypes import byref, c_uint32, c_uint64, c_void_p
from typing import Any

from . import _library, errors
from ._library import lib

# Makes a bytes object whose content the caller fills in before anybody else sees it, as the C API documents.
_new_bytes: Callable[[None, int], bytes] = ctypes.pythonapi.PyBytes_FromStringAndSize
ctypes.pythonapi.PyBytes_FromStringAndSize.restype = ctypes.py_object
ctypes.pythonapi.PyBytes_FromStringAndSize.argtypes = [c_void_p, ctypes.c_ssize_t]

_pread: "Callable[[int, int, int], bytes] | None" = getattr(os, "pread", None)


class _Descriptor(int):
    """A file descriptor, which is closed after its last user: also after a read that is under way."""

    def __del__(self, close: Callable[[int], None] = os.close) -> None:
        close(self)


class _Index:
    """An index of the library, which is freed with this object."""

    def __init__(self, handle: c_void_p) -> None:
        self._handle, self._process = handle, os.getpid()

    def __del__(self, free: Callable[[c_void_p], int] = lib.kr_index_free, process: Callable[[], int] = os.getpid) -> None:
        if process() == self._process:
            free(self._handle)


class File:
    """Reads are served on any number of threads at once. A forked child releases nothing of the library: it may lack threads."""

    def __init__(self, path: "str | os.PathLike[str]", growing: bool = False) -> None:
        self._handle: int | None = None
        self._descriptor: _Descriptor | None = None
        self._process = os.getpid()
        self.path, name = _library.encoded(path)
        self.growing = growing
        self.loading = threading.RLock()  # one index load or refresh at a time: the library refuses a second one
        handle = c_void_p()
        self.check(lib.kr_reader_create(byref(handle)))
        self._handle = handle.value
        descriptor = _descriptor_of(self.path)
        result = (lib.kr_reader_open_growing if growing else lib.kr_reader_open)(handle, name)
        if result != _library.OK:
            error = self._error(result)
            self.close()
            raise error
        if descriptor is not None and _is_file_of(self.path, descriptor):
            self._descriptor = descriptor

    def __del__(self) -> None:
        self.close()

    def close(self, free: Callable[[int], int] = lib.kr_reader_free, process: Callable[[], int] = os.getpid) -> None:
        """Closes the file; again has no effect."""
        self._descriptor = None
        handle, self._handle = self._handle, None
        if handle is not None and process() == self._process:
            free(handle)

    @property
    def closed(self) -> bool:
        return self._handle is None

    def _error(self, result: int) -> Exception:
        if self._handle is None:
            return errors.ClosedError(f"{self.path}: the file is closed")
        last = _library.ErrorRecord()
        lib.kr_reader_last_error(self._handle, byref(last))
        if result == _library.ERROR_FORMAT:
            return errors.FormatError(f"{self.path}: {why_not_avi(self.path)}")
        return _library.exception(result, self.path, last)

    def check(self, result: int) -> int:
        """The result, unless it is an error."""
        if result < 0:
            raise self._error(result)
        return result

    def size(self) -> int:
        found = c_uint64()
        self.check(lib.kr_reader_size(self._handle, byref(found)))
        return found.value

    def read(self, position: int, size: int) -> bytes:
        """Exactly so many bytes."""
        descriptor = self._descriptor
        if descriptor is not None and _pread is not None:
            try:
                data = _pread(descriptor, size, position)
                if len(data) == size:
                    return data
            except OSError:
                pass
        return self._read_by_library(position, size)

    def _read_by_library(self, position: int, size: int) -> bytes:
        """The same where the system has no pread, and with the exceptions of this package."""
        if size == 0:
            return b""
        data = _new_bytes(None, size)
        copied = c_uint32()
        self._expect(lib.kr_reader_read(self._handle, position, data, size, byref(copied)), position, size, copied.value)
        return data

    def read_into(self, position: int, size: int, out: Any, offset: int = 0) -> int:
        """Exactly so many bytes into a writable buffer."""
        if size == 0:
            return 0
        view = memoryview(out)
        if view.readonly or not view.c_contiguous:
            raise ValueError("`out` must be writable and contiguous")
        if view.nbytes < offset + size:
            raise ValueError(f"`out` has {view.nbytes - offset} bytes, {size} are needed")
        target = ctypes.c_char.from_buffer(out, offset)
        copied = c_uint32()
        result = lib.kr_reader_read(self._handle, position, byref(target), size, byref(copied))
        self._expect(result, position, size, copied.value)
        return size

    def _expect(self, result: int, position: int, size: int, copied: int) -> None:
        """Raises unless a read has copied all bytes."""
        self.check(result)
        if copied != size:
            raise errors.FormatError(f"{self.path}: truncated: {copied} of {size} bytes at position {position}")

    def stream_count(self) -> int:
        count = c_uint32()
        self.check(lib.kr_reader_stream_count(self._handle, byref(count)))
        return count.value

    def stream(self, number: int) -> _library.StreamRecord:
        record = _library.StreamRecord()
        self.check(lib.kr_reader_stream(self._handle, number, byref(record)))
        return record

    def stream_format(self, number: int, size: int) -> bytes:
        buffer = ctypes.create_string_buffer(max(size, 1))
        copied = c_uint32()
        self.check(lib.kr_reader_stream_format(self._handle, number, buffer, size, byref(copied)))
        return buffer.raw[:copied.value]

    def load_index(self, stream: int, first: int) -> "ctypes.Array[ctypes.c_char]":
        """The entries of a stream's index from number `first` on: position, size, flags. They are the library's."""
        index, entries, count = c_void_p(), c_void_p(), c_uint64()
        with self.loading:
            self.check(lib.kr_reader_load_index(self._handle, stream, first, byref(index)))
        owner = _Index(index)
        self.check(lib.kr_index_entries(index, byref(entries), byref(count)))
        if not entries.value:
            return (ctypes.c_char * 0)()
        found = (ctypes.c_char * (count.value * 16)).from_address(entries.value)
        found.owner = owner  # type: ignore[attr-defined]  # which frees them after the last view of them
        return found

    def refresh(self) -> bool:
        """Whether a growing file has more than before."""
        with self.loading:
            return self.check(lib.kr_reader_refresh(self._handle)) == _library.OK

    def growing_state(self) -> int:
        state = c_uint32()
        self.check(lib.kr_reader_growing_state(self._handle, byref(state)))
        return state.value


def _descriptor_of(path: str) -> _Descriptor | None:
    """For `os.pread`, which makes and fills a bytes object in half the time of a call through ctypes; None: it cannot be had."""
    if _pread is None:
        return None
    try:
        return _Descriptor(os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK))
    except OSError:
        return None  # the library has the reason


def _is_file_of(path: str, descriptor: int) -> bool:
    """Whether the path still names the file that was opened before: then it is the library's, too."""
    try:
        return os.path.samestat(os.stat(path), os.fstat(descriptor))
    except OSError:
        return False


def why_not_avi(path: str) -> str:
    """What a file is that is not an AVI file."""
    try:
        with open(path, "rb") as file:
            head = file.read(201)
    except OSError:
        head = b""
    if len(head) < 12 or head[:4] != b"RIFF":
        return "not an AVI file (it does not begin with 'RIFF')" if head else "not an AVI file (it is empty)"
    if head[8:12] != b"AVI ":
        return f"not an AVI file (it is RIFF {head[8:12].decode('latin-1')!r})"
    return "an AVI file of 200 bytes or less" if len(head) < 201 else "an AVI file without a stream that can be read"
