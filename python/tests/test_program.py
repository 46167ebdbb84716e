"""The package as a user meets it in a fresh process: the demonstration, and the messages
when a library is missing."""

import inspect
import os
import shutil
import subprocess
import sys

import pytest

import livescannerkx2 as kx2
from livescannerkx2 import _lib


def run_python(code_or_args, env=None, cwd=None):
    args = code_or_args if isinstance(code_or_args, list) else ["-c", code_or_args]
    return subprocess.run([sys.executable] + args, capture_output=True, text=True, timeout=120,
                          env=env, cwd=cwd)


def test_demonstration_gives_a_good_plain_and_roll(tmp_path):
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path))
    run = run_python(["-m", "livescannerkx2", str(tmp_path)], env=env)
    assert run.returncode == 0, run.stdout + run.stderr
    assert "scanners: KX2 " in run.stdout and "roll now" in run.stdout
    assert "roll: 0 good roll" in run.stdout
    assert (tmp_path / "plain.png").exists() and (tmp_path / "roll.png").exists()


def sdk_library_path():
    kx2.error_text(0)  # loads it
    with open("/proc/self/maps") as maps:
        for line in maps:
            if line.rstrip().endswith(_lib.SONAME) or "liblivescannerkx2.so.1." in line:
                return line.split()[-1]
    pytest.skip("SDK library not mapped")


def test_missing_device_library_is_named(tmp_path):
    # The SDK library alone in a folder, with nothing on the loader's path.
    copy = tmp_path / _lib.SONAME
    shutil.copy(sdk_library_path(), copy)
    env = {k: v for k, v in os.environ.items() if k != "LD_LIBRARY_PATH"}
    env.update(LIVESCANNERKX2_LIBRARY=str(copy), PYTHONPATH=os.pathsep.join(sys.path))
    run = run_python("import livescannerkx2 as kx2\n"
                     "try:\n    kx2.Scanner()\n"
                     "except kx2.DeviceLibraryError as e:\n    print(e.code, e)", env=env)
    assert run.stdout.startswith("-200 "), run.stdout + run.stderr
    assert "libkxScanAPI.so" in run.stdout and "livescannerkx2-sim" in run.stdout


def test_missing_sdk_library_names_what_was_tried(monkeypatch):
    monkeypatch.setenv(_lib.LIBRARY_ENV, "/nonexistent/liblivescannerkx2.so.1")
    monkeypatch.setattr(_lib, "SONAME", "liblivescannerkx2-missing.so.1")
    with pytest.raises(OSError) as caught:
        _lib._load()
    assert "/nonexistent/liblivescannerkx2.so.1" in str(caught.value)
    assert "liblivescannerkx2-missing.so.1" in str(caught.value)


def test_public_methods_have_docstrings_and_hints():
    for name in kx2.__all__:
        thing = getattr(kx2, name)
        members = [thing] if inspect.isfunction(thing) else [
            m for n, m in vars(thing).items()
            if not n.startswith("_") and (inspect.isfunction(m) or isinstance(m, property))
        ] if name == "Scanner" else []
        for m in members:
            fn = m.fget if isinstance(m, property) else m
            assert fn.__doc__, f"{name}.{fn.__name__}"
            assert "return" in fn.__annotations__, f"{name}.{fn.__name__}"
