"""Reading a recording of the device library's calls (format: recorder/README.md).

    rec = Recording("session.kxrec")
    for frame in rec.frames():
        print(frame.time, frame.dose, frame.image.shape)
"""

import ctypes
import ctypes.util
import json
import mmap
import os
import struct
import zlib
from typing import Iterator, NamedTuple, Optional

import numpy as np

MAGIC = b"KXREC\r\n\x1a"
FORMAT_VERSION = 1
_CHUNK = struct.Struct("<III")  # kind, payload length, CRC-32
_CALL = struct.Struct("<HBBiiIqq4qI")

# Places in the device library's table of the calls the SDK makes.
ENTRY_NAMES = {
    1: "ftrScanOpenDeviceOnInterface", 2: "ftrScanCloseDevice", 3: "ftrScanSetOptions",
    5: "ftrScanGetDeviceInfo", 6: "ftrScanGetInterfaces", 13: "ftrScanGetImageSize",
    14: "ftrScanGetImage", 21: "ftrScanSetDiodesStatus", 22: "ftrScanGetSerialNumber",
    23: "ftrScanGetVersion", 24: "ftrScanGetExtMemorySize", 25: "ftrScanSaveExtMemory",
    26: "ftrScanRestoreExtMemory", 29: "ftrScanGetRawImageSize",
    30: "ftrScanGetRawImageByVariableDose", 37: "ftrScanSave7ControlBytes",
    38: "ftrScanRestore7ControlBytes", 39: "ftrScanChangeSystemNotification",
    41: "ftrScanGlobalSetOptions", 46: "ftrScanOpenDeviceWithIoContext",
}
_IMAGE, _RAW_IMAGE, _SIZE, _RAW_SIZE = 14, 30, 13, 29


class RecordingError(Exception):
    """A damaged or truncated recording; `offset` is where in the file."""

    def __init__(self, offset: int, what: str):
        super().__init__(f"offset {offset}: {what}")
        self.offset = offset


class Call(NamedTuple):
    entry: int
    name: str
    interface: int     # -1: a call without a device
    result: int        # 1 success, 0 failure
    last_error: int    # the library's error after a failure
    start_ns: int      # monotonic clock
    end_ns: int
    args: tuple        # scalar arguments (dose, offsets, ...)
    data: bytes        # what the call exchanged, decoded
    offset: int


class Frame(NamedTuple):
    image: np.ndarray  # rows as the SDK shows them (the device delivers them bottom up)
    raw: bool
    dose: int
    interface: int
    time: float        # seconds since the first call
    duration: float    # seconds the image call took
    call: Call


def _zstd():
    name = ctypes.util.find_library("zstd") or "libzstd.so.1"
    lib = ctypes.CDLL(name)
    lib.ZSTD_decompress.restype = ctypes.c_size_t
    lib.ZSTD_decompress.argtypes = [ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p,
                                    ctypes.c_size_t]
    lib.ZSTD_isError.restype = ctypes.c_uint
    lib.ZSTD_isError.argtypes = [ctypes.c_size_t]
    return lib


class Recording:
    """The calls of a recording file, in the order they were made."""

    def __init__(self, path: str):
        with open(path, "rb") as f:
            # Mapped, not read: a long session runs to gigabytes.
            size = os.fstat(f.fileno()).st_size
            self._bytes = mmap.mmap(f.fileno(), 0, access=mmap.ACCESS_READ) if size else b""
        if len(self._bytes) < 12:
            raise RecordingError(0, "truncated: a header of 12 bytes expected")
        if self._bytes[:8] != MAGIC:
            raise RecordingError(0, "no recording")
        version = struct.unpack_from("<H", self._bytes, 8)[0]
        if version != FORMAT_VERSION:
            raise RecordingError(8, f"format version {FORMAT_VERSION} expected, found {version}")
        self.info: dict = {}
        self._zstd = None

    def _decode(self, payload: bytes, flags: int, size: int, offset: int) -> bytes:
        if not flags & 1:
            return payload
        if self._zstd is None:
            self._zstd = _zstd()
        out = ctypes.create_string_buffer(size)
        n = self._zstd.ZSTD_decompress(out, size, payload, len(payload))
        if self._zstd.ZSTD_isError(n) or n != size:
            raise RecordingError(offset, "damaged zstd data")
        return out.raw

    def calls(self) -> Iterator[Call]:
        data, pos = self._bytes, 12
        while pos < len(data):
            if len(data) - pos < _CHUNK.size:
                raise RecordingError(pos, "truncated: a chunk header of 12 bytes expected")
            kind, length, crc = _CHUNK.unpack_from(data, pos)
            body = data[pos + 12:pos + 12 + length]
            if len(body) < length:
                raise RecordingError(pos, f"truncated: a chunk of {length} bytes expected")
            if zlib.crc32(data[pos:pos + 8] + body) != crc:
                raise RecordingError(pos, "damaged: the checksum does not match")
            at, pos = pos, pos + 12 + length
            if kind == 0x4F464E49:  # INFO
                self.info = json.loads(body.decode("utf-8", "replace") or "{}")
            elif kind == 0x4C4C4143:  # CALL
                if length < _CALL.size:
                    raise RecordingError(at, "damaged: a call of at least 68 bytes expected")
                f = _CALL.unpack_from(body)
                entry, flags, iface, result, error, start, end = f[0], f[1], *f[3:8]
                args, size = tuple(f[8:12]), f[12]
                yield Call(entry, ENTRY_NAMES.get(entry, f"entry {entry}"), iface, result, error,
                           start, end, args,
                           self._decode(body[_CALL.size:], flags, size, at), at)

    def frames(self) -> Iterator[Frame]:
        sizes = {}
        origin: Optional[int] = None
        for c in self.calls():
            origin = c.start_ns if origin is None else origin
            if c.entry in (_SIZE, _RAW_SIZE) and c.result and len(c.data) >= 8:
                sizes[(c.interface, c.entry == _RAW_SIZE)] = struct.unpack_from("<ii", c.data)
            if c.entry not in (_IMAGE, _RAW_IMAGE) or not c.result:
                continue
            raw = c.entry == _RAW_IMAGE
            width, height = sizes.get((c.interface, raw), (0, 0))
            if width <= 0 or height <= 0 or len(c.data) < width * height:
                continue
            pixels = np.frombuffer(c.data, np.uint8, width * height).reshape(height, width)
            yield Frame(pixels[::-1].copy(), raw, c.args[0], c.interface,
                        (c.start_ns - origin) / 1e9, (c.end_ns - c.start_ns) / 1e9, c)

    def __iter__(self) -> Iterator[Frame]:
        return self.frames()
