"""Uncompressed pictures: from the bytes of a frame to a NumPy array of the right shape and back.

Nothing is converted: an array is a view of the stored bytes wherever they can be addressed, so that changing it changes them.

======================================  =====================  =====================================================
format                                  shape                  elements
======================================  =====================  =====================================================
palette of 1, 4, 8 bits                 (height, width)        uint8: entries of the palette
RGB of 15 and 16 bits                   (height, width)        uint16: blue in the lowest bits
RGB of 24 and 32 bits                   (height, width, 3|4)   uint8: blue, green, red, and the fourth byte
Y800, GREY, Y8, Y16                     (height, width)        uint8, uint16
YUY2, UYVY, YVYU and their like         (height, width, 2)     uint8: as stored; every second chroma is the other one
AYUV                                    (height, width, 4)     uint8: V, U, Y, A
I420, YV12, NV12, YV16, YV24, ...       (rows, width)          uint8: all planes, one below the other
v210                                    (height, width, 2)     uint16: chroma and luma of 10 bits, a copy
======================================  =====================  =====================================================
"""

import struct
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from . import errors
from ._arrays import numpy_module

if TYPE_CHECKING:
    import numpy
    from numpy.typing import NDArray

RGB, BITFIELDS = "RGB", "BITFIELDS"
UNCOMPRESSED = {b"\0\0\0\0": RGB, b"RGB ": RGB, b"DIB ": RGB, b"RAW ": RGB, b"\3\0\0\0": BITFIELDS}
GRAY = {"Y800": 8, "GREY": 8, "Y8  ": 8, "Y16 ": 16, "Y1\0\x10": 16}
PACKED = {"YUY2": "YUYV", "YUYV": "YUYV", "YUNV": "YUYV", "UYVY": "UYVY", "UYNV": "UYVY", "Y422": "UYVY", "2vuy": "UYVY",
          "HDYC": "UYVY", "YVYU": "YVYU"}
# Columns and rows of luma for each of chroma, and whether V comes first.
PLANAR = {"I420": (2, 2, False), "IYUV": (2, 2, False), "YV12": (2, 2, True), "YV16": (2, 1, True), "422P": (2, 1, False),
          "Y42B": (2, 1, False),
          "YV24": (1, 1, True), "444P": (1, 1, False), "YUV9": (4, 4, False), "YVU9": (4, 4, True), "Y41B": (4, 1, False)}
SEMIPLANAR = {"NV12": "UV", "NV21": "VU"}


def usual_bits(codec: str) -> int:
    """The bits of a pixel that headers of this codec have; 24 where it has no usual ones."""
    if codec in PLANAR:
        columns, rows, _ = PLANAR[codec]
        return 8 + 16 // (columns * rows)
    others = {**GRAY, **dict.fromkeys(PACKED, 16), **dict.fromkeys(SEMIPLANAR, 12), "AYUV": 32, "v210": 20}
    return others.get(codec, 24)


@dataclass(frozen=True)
class Layout:
    """How the bytes of an uncompressed picture lie in a frame."""

    codec: str  #: `RGB`, `BITFIELDS`, or the FourCC
    width: int
    height: int
    bits: int  #: for each pixel
    bottom_up: bool = False  #: the lowest row is stored first
    palette: bytes = b""  #: of an RGB format up to 8 bits: blue, green, red and 0 for each entry
    masks: tuple[int, int, int] = (0, 0, 0)  #: red, green and blue of 16 and 32 bits; 0: the usual ones

    @staticmethod
    def of_format(data: bytes) -> "Layout | None":
        """The layout that a BITMAPINFOHEADER and what follows it describe; None for compressed pictures."""
        if len(data) < 40:
            return None
        size, width, height, _, bits, compression, _, _, _, used, _ = struct.unpack_from("<IiiHH4sIiiII", data)
        codec = UNCOMPRESSED.get(compression) or compression.decode("latin-1")
        rest = data[min(max(size, 40), len(data)):]
        masks = (0, 0, 0)
        if codec == BITFIELDS and len(data) >= 52:
            red, green, blue = struct.unpack_from("<III", data, 40)
            masks = (red, green, blue)
        is_rgb = codec in (RGB, BITFIELDS)
        palette = rest[:4 * (used or 1 << bits)] if is_rgb and bits <= 8 else b""
        layout = Layout(codec, width, abs(height), bits, is_rgb and height > 0, palette[:1024], masks)
        return layout if width > 0 and height != 0 and layout._is_known() else None

    @staticmethod
    def of(codec: str, width: int, height: int, bits: int) -> "Layout | None":
        """The layout of pictures in a new file."""
        layout = Layout(codec or RGB, width, height, bits, not codec)
        return layout if layout._is_known() else None

    def _is_known(self) -> bool:
        if self.codec in (RGB, BITFIELDS):
            return self.bits in ((1, 4, 8, 15, 16, 24, 32) if self.codec == RGB else (16, 32))
        return self.codec in GRAY or self.codec in PACKED or self.codec in PLANAR or self.codec in SEMIPLANAR or \
            self.codec in ("AYUV", "v210")

    # ---- sizes ----

    @property
    def size(self) -> int:
        """Bytes of a frame."""
        if self.codec in PLANAR or self.codec in SEMIPLANAR:
            return sum(rows * columns for rows, columns in self.plane_sizes())
        return self.stride * self.height

    @property
    def row_bytes(self) -> int:
        """Bytes of a row without padding."""
        if self.codec == "v210":
            return (self.width + 47) // 48 * 128
        bits = GRAY.get(self.codec) or (16 if self.codec in PACKED or self.bits == 15 else 32 if self.codec == "AYUV"
                                        else self.bits)
        return (self.width * bits + 7) // 8

    @property
    def padded_row(self) -> int:
        """Bytes of a row that ends at a multiple of four: a whole pair of pixels, too, of packed YUV."""
        return (self.row_bytes + 3) // 4 * 4

    @property
    def stride(self) -> int:
        """Bytes from row to row."""
        return self.padded_row if self.codec in PACKED or self.codec in (RGB, BITFIELDS) else self.row_bytes

    @property
    def plane_rows(self) -> int:
        """Rows of the array of all planes, one below the other; 0: there are no planes."""
        if self.codec not in PLANAR and self.codec not in SEMIPLANAR:
            return 0
        if self.size % self.width:
            raise errors.FormatError(f"the planes of {self.width} x {self.height} do not fit into one array: use planes()")
        return self.size // self.width

    def plane_sizes(self) -> list[tuple[int, int]]:
        """Rows and bytes of a row of each plane, in file order."""
        columns, rows, _ = PLANAR.get(self.codec, (1, 2, False))
        luma = (self.height, self.width)
        if self.codec in SEMIPLANAR:
            return [luma, ((self.height + 1) // 2, (self.width + 1) // 2 * 2)]
        chroma = ((self.height + rows - 1) // rows, (self.width + columns - 1) // columns)
        return [luma, chroma, chroma]

    @property
    def element(self) -> tuple[str, tuple[int, ...]]:
        """The type of the elements of a row, in NumPy's notation, and the shape of a row."""
        if self.codec == "v210":
            return "<u2", (self.width, 2)
        if self.codec in PACKED or self.codec == "AYUV":
            return "|u1", (self.width, 2 if self.codec in PACKED else 4)
        bits = GRAY.get(self.codec, self.bits)
        if bits in (24, 32):
            return "|u1", (self.width, bits // 8)
        return "<u2" if bits in (15, 16) else "|u1", (self.width,)

    # ---- arrays ----

    def view(self, data: Any) -> "NDArray[Any]":
        """The picture of the bytes of a frame."""
        if self.plane_rows:
            return self._bytes(data, self.size).reshape(-1, self.width)
        rows = self._rows(data)[:, :self.row_bytes]
        if self.codec == "v210":
            return self._from_v210(rows)[:, :self.width]
        if self.bits < 8 and self.codec == RGB:
            rows = self._from_bits(rows)
        kind, row = self.element
        picture: NDArray[Any] = rows.view(kind).reshape(self.height, *row)
        return picture[::-1] if self.bottom_up else picture

    def _bytes(self, data: Any, size: int) -> "NDArray[Any]":
        """The first `size` bytes of a frame."""
        flat = numpy_module().frombuffer(data, numpy_module().uint8)
        if flat.size < size:
            raise errors.FormatError(f"a picture of {flat.size} bytes; {self.size} are needed")
        return flat[:size]  # type: ignore[no-any-return]

    def _rows(self, data: Any) -> "NDArray[Any]":
        """The rows as stored. Some writers leave the padding out, or pad gray pictures."""
        stride = self.padded_row if self.stride != self.row_bytes or GRAY.get(self.codec) == 8 else self.stride
        if memoryview(data).nbytes < stride * self.height:
            stride = self.row_bytes
        return self._bytes(data, stride * self.height).reshape(self.height, stride)

    def _from_bits(self, rows: "NDArray[Any]") -> "NDArray[Any]":
        numpy = numpy_module()
        if self.bits == 1:
            return numpy.unpackbits(rows, axis=1)[:, :self.width]  # type: ignore[no-any-return]
        pairs = numpy.stack((rows >> 4, rows & 15), axis=2)
        return pairs.reshape(self.height, -1)[:, :self.width]  # type: ignore[no-any-return]

    def _from_v210(self, rows: "NDArray[Any]") -> "NDArray[Any]":
        """Chroma and luma of whole pairs of pixels."""
        words = rows.view("<u4")
        fields = numpy_module().stack((words & 1023, words >> 10 & 1023, words >> 20 & 1023), axis=2).astype("<u2")
        return fields.reshape(self.height, -1, 2)[:, :(self.width + 1) // 2 * 2]  # type: ignore[no-any-return]

    def planes(self, data: Any) -> "tuple[NDArray[Any], ...]":
        """Luma and chroma (Y, U, V) of a YUV picture as arrays of their own; of NV12 and NV21 Y and the pairs."""
        if self.codec in PACKED or self.codec == "v210":
            return self._planes_of_packed(self._rows(data))
        if self.codec not in PLANAR and self.codec not in SEMIPLANAR:
            raise errors.FormatError(f"{self.codec} has no planes")
        flat, found, start = self._bytes(data, self.size), [], 0
        for rows, columns in self.plane_sizes():
            found.append(flat[start:start + rows * columns].reshape(rows, columns))
            start += rows * columns
        if self.codec in SEMIPLANAR:
            return found[0], found[1].reshape(found[1].shape[0], -1, 2)
        return (found[0], found[2], found[1]) if PLANAR[self.codec][2] else tuple(found)

    def _planes_of_packed(self, rows: "NDArray[Any]") -> "tuple[NDArray[Any], ...]":
        pixels = self._from_v210(rows) if self.codec == "v210" else rows.reshape(self.height, -1, 2)
        order = PACKED.get(self.codec, "UYVY")
        luma = order.index("Y")
        first, second = pixels[:, 0::2, 1 - luma], pixels[:, 1::2, 1 - luma]
        is_u_first = order.index("U") < order.index("V")
        return (pixels[:, :self.width, luma], *((first, second) if is_u_first else (second, first)))

    def colours(self) -> "NDArray[numpy.uint8]":
        """The palette: red, green and blue of each entry."""
        entries = numpy_module().frombuffer(self.palette, numpy_module().uint8)
        return entries[:entries.size // 4 * 4].reshape(-1, 4)[:, 2::-1]  # type: ignore[no-any-return]

    def rgb(self, data: Any) -> "NDArray[numpy.uint8]":
        """A picture in RGB of 15 to 32 bits as (height, width, 3): red, green, blue."""
        picture = self.view(data)
        if self.codec not in (RGB, BITFIELDS) or self.bits < 15:
            raise errors.FormatError(f"{self.codec} of {self.bits} bits is not RGB")
        if self.bits >= 24 and self.codec == RGB:
            return picture[:, :, 2::-1]
        usual = (0x7C00, 0x3E0, 0x1F) if self.bits <= 16 else (0xFF0000, 0xFF00, 0xFF)
        words = picture if self.bits <= 16 else numpy_module().ascontiguousarray(picture).view("<u4")[:, :, 0]
        masks = self.masks if all(0 < mask < 1 << self.bits for mask in self.masks) else usual
        return numpy_module().stack([_component(words, mask) for mask in masks], axis=2)  # type: ignore[no-any-return]

    def pack(self, picture: Any) -> "NDArray[numpy.uint8]":
        """The bytes of a frame, of an array such as `view` returns."""
        numpy = numpy_module()
        if self.bits < 8 and self.codec == RGB:
            raise errors.FormatError(f"pictures of {self.bits} bits a pixel must be bytes")
        data = numpy.full(self.size, 128 if self.codec in PACKED else 0, numpy.uint8)  # the last chroma of an odd row: none
        target = self.view(data)
        if picture.shape != target.shape or picture.dtype != target.dtype:
            raise ValueError(f"the array is {picture.dtype} {picture.shape}; the file needs {target.dtype} {target.shape}")
        if self.codec == "v210":
            return self._to_v210(picture)
        target[...] = picture
        return data  # type: ignore[no-any-return]

    def _to_v210(self, picture: "NDArray[Any]") -> "NDArray[numpy.uint8]":
        numpy = numpy_module()
        fields = numpy.zeros((self.height, self.row_bytes // 4 * 3), "<u4")
        fields[:, 2 * self.width - 2:(self.width + 1) // 2 * 4] = 512  # the last chroma of an odd row: none
        fields[:, :2 * self.width] = picture.reshape(self.height, -1) & 1023
        thirds = fields.reshape(self.height, -1, 3)
        words = thirds[:, :, 0] | thirds[:, :, 1] << 10 | thirds[:, :, 2] << 20
        return words.astype("<u4").view(numpy.uint8).reshape(-1)  # type: ignore[no-any-return]


def _component(words: "NDArray[Any]", mask: int) -> "NDArray[Any]":
    """The bits of a mask, stretched to 0 ... 255."""
    shift = (mask & -mask).bit_length() - 1
    most = mask >> shift
    return ((((words & mask) >> shift) * 255 + most // 2) // most).astype("u1")
