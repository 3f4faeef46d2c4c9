"""Clips for the tests of the Python package, and the package itself, which KRAVI_PACKAGE names."""

import contextlib
import os
import sys
import tempfile

sys.dont_write_bytecode = True
HERE = os.path.dirname(os.path.abspath(__file__))
SOURCES = os.path.abspath(os.path.join(HERE, "..", "..", ".."))
sys.path.insert(0, os.path.join(SOURCES, "tests", "tools"))
sys.path.insert(0, os.environ.get("KRAVI_PACKAGE") or os.path.join(SOURCES, "bindings", "python"))

import avi_builder as avi  # noqa: E402
import kravi  # noqa: E402

try:
    import numpy  # noqa: F401
    HAS_NUMPY = True
except ImportError:
    HAS_NUMPY = False

FRAMES = 50


def clip_bytes(frames=FRAMES, keys=range(0, FRAMES, 10)):
    """MJPEG with a key frame in ten and frame 7 empty, PCM sound in chunks of several lengths, and tags."""
    pictures = [avi.payload(number, 301 + number) for number in range(frames)]
    pictures[7] = b""
    video = avi.video(pictures)
    video.keys = set(keys)
    sound = avi.pcm([avi.payload(100 + number, 4 * (1000 + number % 3)) for number in range(frames)])
    info = avi.lst(b"INFO", avi.chunk(b"INAM", "Häfen\0".encode()), avi.chunk(b"IART", b"Jos\xe9\0"))
    return avi.simple_avi([video, sound], before_movi=info), video, sound


@contextlib.contextmanager
def folder():
    """A folder of its own, which is also the current one."""
    before = os.getcwd()
    with tempfile.TemporaryDirectory(prefix="kravi-python-") as name:
        os.chdir(name)
        try:
            yield name
        finally:
            os.chdir(before)


def write(path, data):
    with open(path, "wb") as file:
        file.write(data)
    return path


def raw_clip(frames, width, height, bits, compression=b"\0\0\0\0", more=b""):
    """A file of uncompressed pictures; `more` follows the BITMAPINFOHEADER."""
    video = avi.video(frames, width=width, height=height, bits=bits, compression=compression)
    video.fmt = video.fmt + more
    return avi.simple_avi([video])


__all__ = ["FRAMES", "HAS_NUMPY", "SOURCES", "avi", "clip_bytes", "folder", "kravi", "raw_clip", "write"]
