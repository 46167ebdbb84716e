"""A grey-scale PNG writer, so that saving an image needs nothing beyond numpy."""

import struct
import zlib

import numpy

# 500 dpi in pixels per metre, the resolution of every image of the SDK.
_PELS_PER_METRE = 19685


def _chunk(tag, data):
    return struct.pack(">I", len(data)) + tag + data + struct.pack(">I", zlib.crc32(tag + data))


def save_png(path: str, image: numpy.ndarray, dpi: int = 500) -> None:
    """Writes a two-dimensional uint8 array as an 8-bit grey PNG file."""
    pixels = numpy.asarray(image)
    if pixels.ndim != 2 or pixels.dtype != numpy.uint8:
        raise ValueError("save_png takes a two-dimensional uint8 array")
    height, width = pixels.shape
    # Every row starts with filter type 0 (none).
    rows = numpy.zeros((height, width + 1), numpy.uint8)
    rows[:, 1:] = pixels
    pels = _PELS_PER_METRE if dpi == 500 else round(dpi / 0.0254)
    data = (b"\x89PNG\r\n\x1a\n"
            + _chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0))
            + _chunk(b"pHYs", struct.pack(">IIB", pels, pels, 1))
            + _chunk(b"IDAT", zlib.compress(rows.tobytes(), 6))
            + _chunk(b"IEND", b""))
    with open(path, "wb") as f:
        f.write(data)
