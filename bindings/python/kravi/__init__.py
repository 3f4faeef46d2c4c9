"""AVI files: every frame exactly, at the speed of the disk.

>>> import kravi
>>> with kravi.open("clip.avi") as f:
...     v = f.video
...     print(len(v), v.fps, v.width, v.height, v.codec)
...     print(len(v[10]), len(v[10:20]), v.key_before(10))
50 25 64 48 MJPG
311 10 10

Bytes need nothing but Python; arrays of pictures and sound need NumPy. Every call that reads or writes the disk releases the
interpreter lock.
"""

from .checking import Finding, verify
from .errors import BusyError, ClosedError, Error, FormatError, IncompleteError, RefusedError, StreamError
from .follow import Recording, State, follow
from .index import Chunk, ChunkIndex
from .pictures import Layout
from .reader import Reader, open
from .sound import SoundFormat
from .streams import AudioStream, Part, Stream, VideoStream
from .writer import Options, Sound, Status, Writer

__version__ = "0.1.0"

__all__ = [
    "AudioStream", "BusyError", "Chunk", "ChunkIndex", "ClosedError", "Error", "Finding", "FormatError",
    "IncompleteError", "Layout", "Options", "Part", "Reader", "Recording", "RefusedError", "Sound", "SoundFormat",
    "State", "Status", "Stream", "StreamError", "VideoStream", "Writer", "follow", "open", "verify",
]
