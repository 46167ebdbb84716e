"""Result codes of the exports as exception classes."""

from ._lib import api

NO_FINGER = -15
DEVICE_LIBRARY_MISSING = -200
DEVICE_LIBRARY = "libkxScanAPI.so"


def error_text(code: int) -> str:
    """The catalogue text of a result code ("Unknown error code." for others)."""
    return api.LS_KX2GetErrorDescriptionA(code).decode("utf-8", "replace")


def error_text_w(code: int) -> str:
    """The same text through the wide-character export."""
    return api.LS_KX2GetErrorDescriptionW(code)


class Error(Exception):
    """A negative result of an export: `code`, its catalogue `text` and the `function`;
    `advice` says what to do about it, when there is something to say."""

    def __init__(self, code: int, function: str = "", advice: str = ""):
        self.code = code
        self.text = error_text(code)
        self.function = function
        self.advice = advice
        where = f"{function}: " if function else ""
        tail = f" ({advice})" if advice else ""
        super().__init__(f"{where}{code} {self.text}{tail}")


class CaptureTimeout(Error):
    """A capture loop gave up: no finger held still, or no roll ended in time. `code` is
    -15, or the defect of the roll that never gave a result."""


class DeviceLibraryError(Error):
    """The SDK found no device library (libkxScanAPI.so) on the loader's path."""


def _loader_error() -> str:
    import ctypes
    try:
        ctypes.CDLL(DEVICE_LIBRARY)
    except OSError as e:
        return str(e)
    return "the SDK library does not find it on its search path"


def check(rc: int, function: str) -> int:
    """Raises Error for a negative result; returns 0 otherwise."""
    if rc == DEVICE_LIBRARY_MISSING and function == "LS_KX2Initialize":
        raise DeviceLibraryError(
            rc, function,
            f"the device library {DEVICE_LIBRARY} could not be loaded: {_loader_error()}; with a "
            "scanner, install its vendor's device library where the loader finds it; without "
            "one, run on the simulator: livescannerkx2-sim python3 ...")
    if rc != 0:
        raise Error(rc, function)
    return rc


def call(name: str, *args) -> int:
    """Calls an export and raises Error for a failure."""
    return check(getattr(api, name)(*args), name)
