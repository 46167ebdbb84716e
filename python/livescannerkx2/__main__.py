"""python3 -m livescannerkx2 [FOLDER]: lists the attached scanners, then takes a plain and
a rolled print on the first one into FOLDER (default: the current folder)."""

import os
import sys

from . import CaptureTimeout, Error, Scanner, query_scanners, save_png
from ._scanner import initialize, uninitialize


def _list() -> list:
    initialize()
    try:
        names = query_scanners()
    finally:
        uninitialize()
    print("scanners:", ", ".join(names) if names else "none attached")
    return names


class _GrowthLines:
    """Prints the roll's width as it grows, a line for every 20 pixels."""

    def __init__(self):
        self._shown = 0

    def __call__(self, image, width: int) -> None:
        if width >= self._shown + 20 or (width == 0 and self._shown > 0):
            print(f"  rolled width {width} px", flush=True)
            self._shown = width


def main(argv: list) -> int:
    """Runs the demonstration; returns the exit status."""
    folder = argv[1] if len(argv) > 1 else "."
    try:
        if not _list():
            return 1
        with Scanner() as scanner:
            print(f"{scanner.name}: place a finger on the scanner and hold it still")
            plain = scanner.capture_plain()
            save_png(os.path.join(folder, "plain.png"), plain.image)
            print("plain image in", os.path.join(folder, "plain.png"))
            roll = scanner.capture_roll(on_frame=_GrowthLines())
            save_png(os.path.join(folder, "roll.png"), roll.image)
            print(f"roll: {roll.status} {'good roll' if roll.status == 0 else Error(roll.status).text}"
                  f"; image in {os.path.join(folder, 'roll.png')}")
            return 0 if roll.status == 0 else 1
    except (Error, OSError) as e:
        print(f"livescannerkx2: {e}", file=sys.stderr)
        return 1 if not isinstance(e, CaptureTimeout) else 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
