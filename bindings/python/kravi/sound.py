"""PCM sound: from bytes to NumPy arrays of the shape (sample frames, channels) and back.

Samples keep their values: 8 bits are uint8, 16 bits int16, 24 and 32 bits int32, floating point float32 and float64.
"""

import struct
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from . import errors
from ._arrays import numpy_module

if TYPE_CHECKING:
    from numpy.typing import NDArray

PCM, FLOAT, EXTENSIBLE = 1, 3, 0xFFFE
TYPES = {(PCM, 8): "u1", (PCM, 16): "<i2", (PCM, 24): "<i4", (PCM, 32): "<i4", (FLOAT, 32): "<f4", (FLOAT, 64): "<f8"}


@dataclass(frozen=True)
class SoundFormat:
    """What a WAVEFORMATEX says."""

    tag: int  #: 1: PCM, 3: floating point, 0x55: MP3, ...
    channels: int
    rate: int  #: sample frames per second
    bits: int  #: of a sample
    align: int  #: bytes of a sample frame, or of a block of compressed sound

    @staticmethod
    def of_format(data: bytes) -> "SoundFormat":
        tag, channels, rate, _, align, bits = struct.unpack_from("<HHIIHH", data.ljust(16, b"\0"))
        if tag == EXTENSIBLE and len(data) >= 26:
            tag = struct.unpack_from("<H", data, 24)[0]
        return SoundFormat(tag, channels, rate, bits, align)

    @property
    def is_pcm(self) -> bool:
        return (self.tag, self.bits) in TYPES and self.channels > 0 and self.align == self.channels * self.bits // 8

    def need_pcm(self) -> str:
        """The type of the samples in NumPy's notation."""
        if not self.is_pcm:
            raise errors.FormatError(f"sound of format {self.tag:#x} with {self.bits} bits is not PCM; its chunks are bytes")
        return TYPES[self.tag, self.bits]

    def view(self, data: Any) -> "NDArray[Any]":
        """The samples of some bytes: a view, but for 24 bits."""
        numpy, kind = numpy_module(), self.need_pcm()
        if self.bits != 24:
            return numpy.frombuffer(data, kind).reshape(-1, self.channels)  # type: ignore[no-any-return]
        thirds = numpy.frombuffer(data, numpy.uint8).reshape(-1, self.channels, 3)
        words = numpy.zeros((*thirds.shape[:2], 4), numpy.uint8)
        words[:, :, 1:] = thirds
        return words.view(kind)[:, :, 0] >> 8  # type: ignore[no-any-return]

    def pack(self, samples: Any) -> Any:
        """The bytes of samples in an array such as `view` returns."""
        numpy, kind = numpy_module(), self.need_pcm()
        if samples.dtype != numpy.dtype(kind) or samples.ndim > 2 or samples.size % self.channels or \
                samples.ndim == 2 and samples.shape[1] != self.channels:
            raise ValueError(f"the array is {samples.dtype} {samples.shape}; the file needs {numpy.dtype(kind)} "
                             f"(sample frames, {self.channels})")
        whole = numpy.ascontiguousarray(samples, kind).reshape(-1)
        return whole if self.bits != 24 else numpy.ascontiguousarray(whole.view(numpy.uint8).reshape(-1, 4)[:, :3])
