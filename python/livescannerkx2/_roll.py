"""The application's roll loop: guides the operator through a roll.

The roll processor takes any finger it sees for the roll, so a finger already on the
platen is lifted first; then the finger is placed and held still, and rolled once the
processor has settled on it. A finger placed and lifted without rolling starts the roll
again instead of ending it with a defect."""

import enum
from typing import Callable, Optional

import numpy

# Frames after a new start before the roll image shows the platen as it is now.
START_FRAMES = 2
# The finger has settled once its contact grew by no more than SETTLED_JITTER pixels over
# the last SETTLED_FRAMES frames.
SETTLED_FRAMES = 4
SETTLED_JITTER = 8
# A finished roll that grew less than this beyond the settled finger was never rolled.
MIN_GROWTH = 40


class RollPrompt(enum.Enum):
    """What the operator is asked to do; `str()` gives the words."""
    LIFT_FINGER = "lift the finger"
    PLACE_FINGER = "place the finger and hold it still"
    ROLL_NOW = "roll now"

    def __str__(self) -> str:
        return self.value


def roll_width(image: numpy.ndarray) -> int:
    """Columns from the leftmost to the rightmost one with finger samples (240 and darker)
    in a tenth of the rows or more: the width of a roll so far. 0 without finger, and for a
    picture without background (no roll image yet)."""
    finger = image <= 240
    if finger.sum() * 100 > image.size * 99:
        return 0
    columns = numpy.flatnonzero(finger.sum(axis=0) * 10 >= image.shape[0])
    return int(columns[-1] - columns[0] + 1) if columns.size else 0


class RollSteps:
    """Judges one frame after another; `prompt` is what the operator was last asked."""

    def __init__(self, on_prompt: Optional[Callable[[RollPrompt], None]]):
        self._on_prompt = on_prompt
        self.prompt: Optional[RollPrompt] = None
        self.restarts = 0
        self.restart_code = 0
        self.start()

    def start(self) -> None:
        """A new roll has been started: look at the platen afresh."""
        self._since_start = 0
        self._looking = True
        self._recent = [0] * SETTLED_FRAMES
        self._finger_frames = 0
        self._base = -1
        self._max = 0

    def _ask(self, prompt: RollPrompt) -> None:
        self._looking = False
        if prompt != self.prompt and self._on_prompt:
            self._on_prompt(prompt)
        self.prompt = prompt

    def judge(self, width: int, finished: bool, status: int) -> str:
        """"go on", "restart" or "done" after one frame of roll width `width`."""
        self._since_start += 1
        if self._looking:
            if self._since_start >= START_FRAMES:
                self._ask(RollPrompt.LIFT_FINGER if width > 0 else RollPrompt.PLACE_FINGER)
            return "go on"
        if self.prompt is RollPrompt.LIFT_FINGER:
            # That roll ends once the finger has gone; then the platen is looked at afresh.
            return "restart" if finished else "go on"
        self._finger_frames = self._finger_frames + 1 if width > 0 else 0
        self._recent[self._finger_frames % SETTLED_FRAMES] = width
        if self._finger_frames == 1 and self._base < 0:
            self._base = width
        self._max = max(self._max, width)
        if (self.prompt is RollPrompt.PLACE_FINGER and self._finger_frames >= SETTLED_FRAMES
                and max(self._recent) - min(self._recent) <= SETTLED_JITTER):
            self._base = width
            self._ask(RollPrompt.ROLL_NOW)
        if not finished:
            return "go on"
        if status != 0 and self._max - max(self._base, 0) < MIN_GROWTH:
            self.restarts += 1
            self.restart_code = status
            return "restart"
        return "done"
