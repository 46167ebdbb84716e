"""The KX2 live scanner SDK from Python.

    import livescannerkx2 as kx2
    with kx2.Scanner() as scanner:
        kx2.save_png("plain.png", scanner.capture_plain().image)

The SDK library is the file named by LIVESCANNERKX2_LIBRARY, else liblivescannerkx2.so.1
in the package's folder, else the one the loader finds. The device library is found by
the loader: run under `livescannerkx2-sim` to use the simulator.
"""

from ._errors import CaptureTimeout, DeviceLibraryError, Error, error_text, error_text_w
from ._lib import LIBRARY_ENV, SIGNATURES
from ._png import save_png
from ._roll import RollPrompt, roll_width
from ._recording import Recording, RecordingError
from ._scanner import (CaptureMode, Image, Scanner, check_compatibility, initialize,
                       query_scanners, uninitialize)

# The one place of the version: the build reads it from this line.
__version__ = "1.8.1"
__all__ = ["CaptureMode", "CaptureTimeout", "DeviceLibraryError", "Error", "RollPrompt",
           "roll_width", "Image", "LIBRARY_ENV", "Recording", "RecordingError", "SIGNATURES",
           "Scanner",
           "check_compatibility", "error_text", "error_text_w", "initialize",
           "query_scanners", "save_png", "uninitialize"]
