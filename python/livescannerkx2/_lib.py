"""Loading of the SDK library and the C signatures of its exports."""

import ctypes
import os
import threading

HANDLE = ctypes.c_void_p
_i32, _u32, _u64, _u8 = ctypes.c_int32, ctypes.c_uint32, ctypes.c_uint64, ctypes.c_uint8
_p = ctypes.POINTER
_str = ctypes.c_char_p
_buf = ctypes.c_char_p  # writable text buffers are passed as ctypes string buffers
_img = (HANDLE, _p(_u8), _p(ctypes.c_double), _p(_u8), _p(_i32))
_pair = (HANDLE, _p(_u64), _p(_u64))

# Every export: name -> (result type, argument types), as in livescannerkx2.h.
SIGNATURES = {
    "LS_KX2Initialize": (_i32, (ctypes.c_void_p,)),
    "LS_KX2Uninitialize": (_i32, ()),
    "LS_KX2CompatibilityCheck": (_i32, (_str,)),
    "LS_KX2GetErrorDescriptionA": (ctypes.c_char_p, (_i32,)),
    "LS_KX2GetErrorDescriptionW": (ctypes.c_wchar_p, (_i32,)),
    "LS_KX2QueryScanners": (_i32, (_buf, _p(_u64))),
    "LS_KX2OpenScanner": (_i32, (_str, _p(HANDLE))),
    "LS_KX2CloseScanner": (_i32, (_p(HANDLE),)),
    "LS_KX2SetCaptureMode": (_i32, (HANDLE, _u32)),
    "LS_KX2GetCaptureMode": (_i32, (HANDLE, _p(_u32))),
    "LS_KX2TriggerScanner": (_i32, (HANDLE,)),
    "LS_KX2GetImage": (_i32, _img),
    "LS_KX2GetPreviewImage": (_i32, _img),
    "LS_KX2GetRollImage": (_i32, _img),
    "LS_KX2GetImageSize": (_i32, _pair),
    "LS_KX2GetPreviewImageSize": (_i32, _pair),
    "LS_KX2GetRollImageSize": (_i32, _pair),
    "LS_KX2GetImageDPI": (_i32, _pair),
    "LS_KX2GetPreviewImageDPI": (_i32, _pair),
    "LS_KX2GetRollImageDPI": (_i32, _pair),
    "LS_KX2GetScannerCondition": (_i32, (HANDLE, _p(_u32), _p(_u32))),
    "LS_KX2GetSerialNumber": (_i32, (HANDLE, _buf)),
    "LS_KX2SetLED": (_i32, (HANDLE, _u8, _u8)),
    "LS_KX2ExtendedScannerAccess": (_i32, (HANDLE, _i32, _buf, _p(_u64))),
    "LS_KX2GetVersionString": (_i32, (HANDLE, _buf, _p(_u64))),
    "LS_KX2GetPropertyA": (_i32, (HANDLE, _str, _buf, _p(_u64))),
    "LS_KX2SetPropertyA": (_i32, (HANDLE, _str, _str)),
    "LS_KX2GetPropertyLongA": (_i32, (HANDLE, _str, _p(_i32))),
    "LS_KX2SetPropertyLongA": (_i32, (HANDLE, _str, _i32)),
    "LS_KX2GetPropertyDoubleA": (_i32, (HANDLE, _str, _p(ctypes.c_double))),
    "LS_KX2SetPropertyDoubleA": (_i32, (HANDLE, _str, ctypes.c_double)),
}

LIBRARY_ENV = "LIVESCANNERKX2_LIBRARY"
SONAME = "liblivescannerkx2.so.1"


def _candidates() -> list:
    """Where the library is looked for, in order: the file the environment names, the
    package's own folder, then the loader's search path."""
    found = []
    if os.environ.get(LIBRARY_ENV):
        found.append(os.environ[LIBRARY_ENV])
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), SONAME)
    if os.path.exists(beside):
        found.append(beside)
    return found + [SONAME]


def _load() -> ctypes.CDLL:
    tried = []
    for candidate in _candidates():
        try:
            return ctypes.CDLL(candidate)
        except OSError as e:
            tried.append(f"{candidate}: {e}")
    raise OSError("the KX2 SDK library was not found; tried " + "; ".join(tried) +
                  f" (install liblivescannerkx2-1, or name the file in {LIBRARY_ENV})")


class _Api:
    """The exports, bound on first use so that an older library without some of them
    still serves the others."""

    def __init__(self):
        self._cdll = None
        self._lock = threading.Lock()

    def library(self) -> ctypes.CDLL:
        """The SDK library, loaded on first use."""
        with self._lock:
            if self._cdll is None:
                self._cdll = _load()
            return self._cdll

    def __getattr__(self, name: str):
        if name not in SIGNATURES:
            raise AttributeError(name)
        try:
            fn = getattr(self.library(), name)
        except AttributeError:
            raise NotImplementedError(f"{name} is not exported by this SDK library") from None
        fn.restype, fn.argtypes = SIGNATURES[name][0], list(SIGNATURES[name][1])
        setattr(self, name, fn)
        return fn


api = _Api()
