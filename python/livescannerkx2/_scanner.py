"""An open scanner: capture modes, images, properties and the JSON document."""

import ctypes
import enum
import json
from typing import Any, Callable, NamedTuple, Optional, Union

import numpy

from ._errors import NO_FINGER, CaptureTimeout, call, check
from ._lib import HANDLE, api
from ._roll import RollPrompt, RollSteps, roll_width

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


def initialize() -> None:
    """Takes one reference on the SDK; pair every call with uninitialize()."""
    call("LS_KX2Initialize", None)


def uninitialize() -> None:
    """Drops one reference on the SDK taken by initialize()."""
    call("LS_KX2Uninitialize")


def check_compatibility(version: str) -> None:
    """Raises Error unless an application built for `version` ("major.minor") can use
    this library."""
    call("LS_KX2CompatibilityCheck", version.encode())


def _decode(raw):
    return raw.split(b"\0", 1)[0].decode("utf-8", "replace")


def query_scanners() -> list:
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


def _pair_property(export: str, doc: str) -> property:
    """A read-only property answered by an export with two 64-bit outputs."""
    def get(self) -> tuple:
        return self._pair(export)
    get.__doc__ = doc
    return property(get)


class Scanner:
    """One open scanner. Holds an SDK reference from opening to close(); use it as a
    context manager. `name` None opens the first scanner attached."""

    def __init__(self, name: Optional[str] = None):
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

    def close(self) -> None:
        """Closes the scanner and drops the SDK reference; a second call does nothing."""
        if self._handle.value is None:
            return
        try:
            call("LS_KX2CloseScanner", ctypes.byref(self._handle))
        finally:
            self._handle = HANDLE()
            uninitialize()

    def __enter__(self) -> "Scanner":
        return self

    def __exit__(self, *exc) -> None:
        self.close()

    def _call(self, name, *args):
        return call(name, self._handle, *args)

    # Capture

    @property
    def capture_mode(self) -> CaptureMode:
        """The capture mode; setting it stops the old mode's work and starts the new."""
        mode = _u32()
        self._call("LS_KX2GetCaptureMode", ctypes.byref(mode))
        return CaptureMode(mode.value)

    @capture_mode.setter
    def capture_mode(self, mode: CaptureMode) -> None:
        self._call("LS_KX2SetCaptureMode", int(mode))

    def trigger(self) -> None:
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

    def get_image(self, out: Optional[numpy.ndarray] = None) -> Image:
        """The final image of the present mode (one capture in plain mode)."""
        return self._image("LS_KX2GetImage", "LS_KX2GetImageSize", out)

    def get_preview_image(self, out: Optional[numpy.ndarray] = None) -> Image:
        """The newest preview; `finger` true once a finger lies still."""
        return self._image("LS_KX2GetPreviewImage", "LS_KX2GetPreviewImageSize", out)

    def get_roll_image(self, out: Optional[numpy.ndarray] = None) -> Image:
        """The roll so far; `finger` true once it is finished, `status` its result."""
        return self._image("LS_KX2GetRollImage", "LS_KX2GetRollImageSize", out)

    def capture_plain(self, max_frames: int = 2000) -> Image:
        """Plain mode: triggers and watches the preview until a finger lies still, then
        takes the image. Gives up after `max_frames` frames (about a minute)."""
        self.capture_mode = CaptureMode.PLAIN
        preview = numpy.empty(self.preview_image_size[::-1], numpy.uint8)
        for _ in range(max_frames):
            self.trigger()
            if self.get_preview_image(preview).finger:
                return self.get_image()
        raise CaptureTimeout(NO_FINGER, "capture_plain",
                             "no finger was held still on the scanner: place one and hold it still")

    def capture_roll(self, max_frames: int = 2000,
                     on_prompt: Optional[Callable[[RollPrompt], None]] = print,
                     on_frame: Optional[Callable[[numpy.ndarray, int], None]] = None) -> Image:
        """Roll mode: guides the operator through one roll and returns it; `status` is the
        roll's result code (0 for a good roll).

        A finger on the platen as the roll starts is asked away first; then the finger is
        placed and held still, and `on_prompt` says "roll now" once the roll processor has
        settled (the default prints the prompts; None keeps quiet). `on_frame` gets the roll
        image and its width in pixels after every frame. A finger lifted without rolling
        starts the roll again. After `max_frames` frames (about a minute) CaptureTimeout
        tells the defect of a roll that never gave a result, or -15."""
        self.capture_mode = CaptureMode.ROLL
        roll = numpy.empty(self.roll_image_size[::-1], numpy.uint8)
        steps = RollSteps(on_prompt)
        self.set_property_long("nResetImage", 1)
        for _ in range(max_frames):
            self.trigger()
            result = self.get_roll_image(roll)
            width = roll_width(roll)
            verdict = steps.judge(width, result.finger, result.status)
            if on_frame:
                on_frame(roll, width)
            if verdict == "done":
                return result
            if verdict == "restart":
                self.set_property_long("nResetImage", 1)
                steps.start()
        raise self._roll_timeout(steps)

    def _roll_timeout(self, steps: RollSteps) -> CaptureTimeout:
        code = int(self.scanner_data.get("KX2", {}).get("ROLLFINGER", {}).get("RETURNCODE", "0"))
        if code:
            return CaptureTimeout(code, "capture_roll", "the roll never gave a result")
        if steps.restarts:
            return CaptureTimeout(steps.restart_code, "capture_roll",
                                  "the finger was placed and lifted without rolling")
        return CaptureTimeout(NO_FINGER, "capture_roll", "no roll ended in time")

    # Device

    @property
    def condition(self) -> int:
        """How dirty the platen is, 0 (clean) to 100."""
        value, reserved = _u32(), _u32()
        self._call("LS_KX2GetScannerCondition", ctypes.byref(value), ctypes.byref(reserved))
        return value.value

    @property
    def serial_number(self) -> str:
        """The scanner's serial number as the device reports it."""
        buf = ctypes.create_string_buffer(NAME_BYTES + 1)
        self._call("LS_KX2GetSerialNumber", buf)
        return _decode(buf.raw)

    def set_led(self, led: int, state: int) -> None:
        """Switches LED `led` (0, the only one) to `state`."""
        self._call("LS_KX2SetLED", led, state)

    @property
    def version_string(self) -> str:
        """The device's version text followed by the SDK's."""
        return _read_text("LS_KX2GetVersionString",
                          lambda buf, size: api.LS_KX2GetVersionString(self._handle, buf, size))

    # Properties

    def get_property(self, name: str) -> str:
        """A handle property as text, such as "Version"."""
        return _read_text("LS_KX2GetPropertyA",
                          lambda buf, size: api.LS_KX2GetPropertyA(self._handle, name.encode(), buf, size))

    def set_property(self, name: str, value: Any) -> None:
        """Sets a handle property from its text form."""
        self._call("LS_KX2SetPropertyA", name.encode(), str(value).encode())

    def get_property_long(self, name: str) -> int:
        """A numeric handle property, such as "nMaskSensitivity"."""
        value = _i32()
        self._call("LS_KX2GetPropertyLongA", name.encode(), ctypes.byref(value))
        return value.value

    def set_property_long(self, name: str, value: int) -> None:
        """Sets a numeric handle property; "nResetImage" restarts the roll."""
        self._call("LS_KX2SetPropertyLongA", name.encode(), value)

    def get_property_double(self, name: str) -> float:
        """A handle property as a floating value."""
        value = ctypes.c_double()
        self._call("LS_KX2GetPropertyDoubleA", name.encode(), ctypes.byref(value))
        return value.value

    def set_property_double(self, name: str, value: float) -> None:
        """Sets a handle property from a floating value."""
        self._call("LS_KX2SetPropertyDoubleA", name.encode(), float(value))

    # Extended access

    def extended_access(self, ident: int, data: bytes = b"", room: Optional[int] = None) -> tuple:
        """The raw extended access: sends `data` in a buffer of `room` bytes (default its
        length) and returns the buffer and the size the call stored."""
        room = len(data) if room is None else room
        buf = ctypes.create_string_buffer(bytes(data), max(room, 1))
        size = _u64(room)
        self._call("LS_KX2ExtendedScannerAccess", ident, buf, ctypes.byref(size))
        return buf.raw, size.value

    @property
    def scanner_data(self) -> dict:
        """The JSON document of diagnostics (roll measures, liveness) as a dict; every
        leaf is a string."""
        text = _read_text("LS_KX2ExtendedScannerAccess",
                          lambda buf, size: api.LS_KX2ExtendedScannerAccess(self._handle, 6, buf, size),
                          first_size=4096)
        return json.loads(text) if text.strip() else {}

    @scanner_data.setter
    def scanner_data(self, document: Union[dict, str]) -> None:
        """Loads settings (roll thresholds, liveness settings) from a dict or JSON text."""
        text = document if isinstance(document, str) else json.dumps(document)
        data = text.encode() + b"\0"
        self.extended_access(7, data)
