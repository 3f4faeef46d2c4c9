"""The frames of a file as a Zarr array that lies in the file itself: a Kerchunk reference set, version 1.

Other software (Dask, napari, xarray through fsspec's "reference" file system) then reads pictures from the file without this
package. The array ``video`` has one chunk for each frame. Rows are as stored: where they end with padding, or do not consist of
whole elements, a row is its bytes; ``row_order`` in the attributes is "bottom-up" where the lowest row comes first.
"""

import json
import math
from typing import TYPE_CHECKING, Any

from . import errors

if TYPE_CHECKING:
    from .streams import VideoStream


def references_of(video: "VideoStream", url: str) -> dict[str, Any]:
    """The reference set as an object for `json.dump`. Needs no NumPy."""
    layout = video._need_layout()
    dtype, row = layout.element
    rows = layout.height
    if layout.plane_rows:
        rows = layout.plane_rows
        dtype, row = "|u1", (layout.width,)
    elif layout.codec == "v210":
        dtype, row = "<u4", (layout.stride // 4,)
    elif math.prod(row) * int(dtype[2:]) != layout.stride:
        dtype, row = "|u1", (layout.stride,)
    shape = [rows, *row]
    array = {"zarr_format": 2, "shape": [len(video), *shape], "chunks": [1, *shape], "dtype": dtype, "compressor": None,
             "fill_value": 0, "filters": None, "order": "C"}
    attributes = {"codec": layout.codec, "width": layout.width, "height": layout.height, "bits": layout.bits,
                  "row_bytes": layout.row_bytes, "row_order": "bottom-up" if layout.bottom_up else "top-down",
                  "frames_per_second": str(video.fps)}
    references: dict[str, Any] = {".zgroup": json.dumps({"zarr_format": 2}), "video/.zarray": json.dumps(array),
                                  "video/.zattrs": json.dumps(attributes)}
    tail = ".0" * len(shape)
    for number in range(len(video)):
        position, size, _ = video.chunks.entry(video.stored(number))
        if size < layout.size:
            raise errors.FormatError(f"frame {number} has {size} bytes, not {layout.size}: no array of all frames")
        references[f"video/{number}{tail}"] = [url, position, layout.size]
    return {"version": 1, "refs": references}
