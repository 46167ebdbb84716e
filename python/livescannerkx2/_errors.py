"""Result codes of the exports as one exception class."""

from ._lib import api


def error_text(code):
    """The catalogue text of a result code ("Unknown error code." for others)."""
    return api.LS_KX2GetErrorDescriptionA(code).decode("utf-8", "replace")


def error_text_w(code):
    """The same text through the wide-character export."""
    return api.LS_KX2GetErrorDescriptionW(code)


class Error(Exception):
    """A negative result of an export: `code`, its catalogue `text` and the `function`."""

    def __init__(self, code, function=""):
        self.code = code
        self.text = error_text(code)
        self.function = function
        where = f"{function}: " if function else ""
        super().__init__(f"{where}{code} {self.text}")


def check(rc, function):
    """Raises Error for a negative result; returns 0 otherwise."""
    if rc != 0:
        raise Error(rc, function)
    return rc


def call(name, *args):
    """Calls an export and raises Error for a failure."""
    return check(getattr(api, name)(*args), name)
