"""An open scanner: capture modes, images, properties and the JSON document."""

import ctypes
import enum
import json
from typing import NamedTuple

import numpy

from ._errors import check, call
from ._lib import HANDLE, api

_u64, _u32, _i32, _u8 = ctypes.c_uint64, ctypes.c_uint32, ctypes.c_int32, ctypes.c_uint8

NAME_BYTES = 16  # scanner names are 16-byte records, unterminated when full
ERROR_TOO_SMALL = -702
ERROR_STRING_SIZE = -21


class CaptureMode(enum.IntEnum):
    PLAIN = 0
    ROLL = 1
    LIVENESS = 2
    SINGLE_SHOT = 3
    TRIGGERED = 4
    PREVIEW = 5


class Image(NamedTuple):
    """An image with what the SDK says about it. `status` is 0 or -15 for plain and
    preview images; for a roll it is the roll's result code once `finger` is true."""
    image: numpy.ndarray
    score: float
    finger: bool
    status: int


def initialize():
    """Takes one reference on the SDK; pair every call with uninitialize()."""
    call("LS_KX2Initialize", None)


def uninitialize():
    call("LS_KX2Uninitialize")


def check_compatibility(version):
    """Raises Error unless an application built for `version` ("major.minor") can use
    this library."""
    call("LS_KX2CompatibilityCheck", version.encode())


def _decode(raw):
    return raw.split(b"\0", 1)[0].decode("utf-8", "replace")


def query_scanners():
    """Names of the attached KX2 scanners, such as "KX2 21234567"."""
    count = _u64(0)
    while True:
        room = count.value
        buf = ctypes.create_string_buffer(room * NAME_BYTES) if room else None
        rc = api.LS_KX2QueryScanners(buf, ctypes.byref(count))
        if rc == ERROR_TOO_SMALL:  # the count needed is stored; ask again with room
            continue
        check(rc, "LS_KX2QueryScanners")
        return [_decode(buf.raw[i * NAME_BYTES:(i + 1) * NAME_BYTES]) for i in range(count.value)]


def _read_text(function, fill, first_size=256):
    """Reads a text through an export that stores the size it needs when the buffer is
    too small (-702 or -21)."""
    size = _u64(first_size)
    for _ in range(8):
        room = max(size.value, 1)
        # One byte beyond the stated room: some exports do not count the terminator.
        buf = ctypes.create_string_buffer(room + 1)
        size.value = room
        rc = fill(buf, ctypes.byref(size))
        if rc not in (ERROR_TOO_SMALL, ERROR_STRING_SIZE):
            break
        size.value = max(size.value, room * 2)
    check(rc, function)
    return _decode(buf.raw)


def _pair_property(export, doc):
    """A read-only property answered by an export with two 64-bit outputs."""
    return property(lambda self: self._pair(export), doc=doc)


class Scanner:
    """One open scanner. Holds an SDK reference from opening to close(); use it as a
    context manager. `name` None opens the first scanner attached."""

    def __init__(self, name=None):
        self._handle = HANDLE()
        initialize()
        try:
            if name is None:
                names = query_scanners()
                if not names:
                    raise LookupError("no KX2 scanner attached")
                name = names[0]
            call("LS_KX2OpenScanner", name.encode(), ctypes.byref(self._handle))
        except BaseException:
            uninitialize()
            raise
        self.name = name

    def close(self):
        """Closes the scanner and drops the SDK reference; a second call does nothing."""
        if self._handle.value is None:
            return
        try:
            call("LS_KX2CloseScanner", ctypes.byref(self._handle))
        finally:
            self._handle = HANDLE()
            uninitialize()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def _call(self, name, *args):
        return call(name, self._handle, *args)

    # Capture

    @property
    def capture_mode(self):
        mode = _u32()
        self._call("LS_KX2GetCaptureMode", ctypes.byref(mode))
        return CaptureMode(mode.value)

    @capture_mode.setter
    def capture_mode(self, mode):
        self._call("LS_KX2SetCaptureMode", int(mode))

    def trigger(self):
        """Takes the next frame of the stream; the application sets the pace."""
        self._call("LS_KX2TriggerScanner")

    def _pair(self, name):
        a, b = _u64(), _u64()
        self._call(name, ctypes.byref(a), ctypes.byref(b))
        return a.value, b.value

    image_size = _pair_property("LS_KX2GetImageSize", "(width, height) of get_image()")
    preview_image_size = _pair_property("LS_KX2GetPreviewImageSize",
                                        "(width, height) of get_preview_image()")
    roll_image_size = _pair_property("LS_KX2GetRollImageSize", "(width, height) of get_roll_image()")
    image_dpi = _pair_property("LS_KX2GetImageDPI", "(x, y) resolution of get_image()")
    preview_image_dpi = _pair_property("LS_KX2GetPreviewImageDPI",
                                       "(x, y) resolution of get_preview_image()")
    roll_image_dpi = _pair_property("LS_KX2GetRollImageDPI", "(x, y) resolution of get_roll_image()")

    def _image(self, name, size_name, out):
        width, height = self._pair(size_name)
        if out is None:
            out = numpy.empty((height, width), numpy.uint8)
        elif out.shape != (height, width) or out.dtype != numpy.uint8 or not out.flags.c_contiguous:
            raise ValueError(f"out must be a contiguous uint8 array of shape {(height, width)}")
        score, finger, status = ctypes.c_double(), _u8(), _i32()
        self._call(name, out.ctypes.data_as(ctypes.POINTER(_u8)), ctypes.byref(score),
                   ctypes.byref(finger), ctypes.byref(status))
        return Image(out, score.value, bool(finger.value), status.value)

    def get_image(self, out=None):
        """The final image of the present mode (one capture in plain mode)."""
        return self._image("LS_KX2GetImage", "LS_KX2GetImageSize", out)

    def get_preview_image(self, out=None):
        """The newest preview; `finger` true once a finger lies still."""
        return self._image("LS_KX2GetPreviewImage", "LS_KX2GetPreviewImageSize", out)

    def get_roll_image(self, out=None):
        """The roll so far; `finger` true once it is finished, `status` its result."""
        return self._image("LS_KX2GetRollImage", "LS_KX2GetRollImageSize", out)

    def capture_plain(self, max_frames=2000):
        """Plain mode: triggers and watches the preview until a finger lies still, then
        takes the image. Gives up after `max_frames` frames (about a minute)."""
        self.capture_mode = CaptureMode.PLAIN
        preview = numpy.empty(self.preview_image_size[::-1], numpy.uint8)
        for _ in range(max_frames):
            self.trigger()
            if self.get_preview_image(preview).finger:
                return self.get_image()
        raise TimeoutError("no finger held still on the scanner")

    def capture_roll(self, max_frames=2000):
        """Roll mode: starts a new roll and triggers until it is finished. The result's
        `status` is the roll's result code (0 for a good roll)."""
        self.capture_mode = CaptureMode.ROLL
        self.set_property_long("nResetImage", 1)
        roll = numpy.empty(self.roll_image_size[::-1], numpy.uint8)
        for _ in range(max_frames):
            self.trigger()
            result = self.get_roll_image(roll)
            if result.finger:
                return result
        raise TimeoutError("no roll finished on the scanner")

    # Device

    @property
    def condition(self):
        """How dirty the platen is, 0 (clean) to 100."""
        value, reserved = _u32(), _u32()
        self._call("LS_KX2GetScannerCondition", ctypes.byref(value), ctypes.byref(reserved))
        return value.value

    @property
    def serial_number(self):
        buf = ctypes.create_string_buffer(NAME_BYTES + 1)
        self._call("LS_KX2GetSerialNumber", buf)
        return _decode(buf.raw)

    def set_led(self, led, state):
        self._call("LS_KX2SetLED", led, state)

    @property
    def version_string(self):
        """The device's version text followed by the SDK's."""
        return _read_text("LS_KX2GetVersionString",
                          lambda buf, size: api.LS_KX2GetVersionString(self._handle, buf, size))

    # Properties, by the names of the C header's table (for instance "nRollMergeMode": 0
    # merges the frames of a roll as they lie, 1 registers the stretched skin first).

    def get_property(self, name):
        return _read_text("LS_KX2GetPropertyA",
                          lambda buf, size: api.LS_KX2GetPropertyA(self._handle, name.encode(), buf, size))

    def set_property(self, name, value):
        self._call("LS_KX2SetPropertyA", name.encode(), str(value).encode())

    def get_property_long(self, name):
        value = _i32()
        self._call("LS_KX2GetPropertyLongA", name.encode(), ctypes.byref(value))
        return value.value

    def set_property_long(self, name, value):
        self._call("LS_KX2SetPropertyLongA", name.encode(), value)

    def get_property_double(self, name):
        value = ctypes.c_double()
        self._call("LS_KX2GetPropertyDoubleA", name.encode(), ctypes.byref(value))
        return value.value

    def set_property_double(self, name, value):
        self._call("LS_KX2SetPropertyDoubleA", name.encode(), float(value))

    # Extended access

    def extended_access(self, ident, data=b"", room=None):
        """The raw extended access: sends `data` in a buffer of `room` bytes (default its
        length) and returns the buffer and the size the call stored."""
        room = len(data) if room is None else room
        buf = ctypes.create_string_buffer(bytes(data), max(room, 1))
        size = _u64(room)
        self._call("LS_KX2ExtendedScannerAccess", ident, buf, ctypes.byref(size))
        return buf.raw, size.value

    @property
    def scanner_data(self):
        """The JSON document of diagnostics (roll measures, liveness) as a dict; every
        leaf is a string."""
        text = _read_text("LS_KX2ExtendedScannerAccess",
                          lambda buf, size: api.LS_KX2ExtendedScannerAccess(self._handle, 6, buf, size),
                          first_size=4096)
        return json.loads(text) if text.strip() else {}

    @scanner_data.setter
    def scanner_data(self, document):
        """Loads settings (roll thresholds, liveness settings) from a dict or JSON text."""
        text = document if isinstance(document, str) else json.dumps(document)
        data = text.encode() + b"\0"
        self.extended_access(7, data)
