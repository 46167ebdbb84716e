import json
import os
import subprocess

import pytest

import livescannerkx2 as kx2


@pytest.fixture(scope="module")
def recording(tmp_path_factory):
    """A plain capture recorded by lskx2 over a simulator that fails once and then goes."""
    lib = os.environ.get(kx2.LIBRARY_ENV)
    program = os.path.join(os.path.dirname(lib or ""), "lskx2")
    if not lib or not os.path.exists(program):
        pytest.skip("lskx2 of the build tree not found")
    folder = tmp_path_factory.mktemp("recording")
    config = folder / "sim.json"
    config.write_text(json.dumps({"frame_interval_ms": 5, "devices": [{
        "serial": "29000004",
        "faults": [{"call": "ftrScanGetRawImageByVariableDose", "at": 2, "error": 121},
                   {"call": "ftrScanGetImage", "at": 2, "error": 121},
                   {"disconnect_at_frame": 6}]}]}))
    path = folder / "session.kxrec"
    env = dict(os.environ, KXSIM_CONFIG=str(config))
    run = subprocess.run([program, "record", str(path), "--out", str(folder / "out"),
                          "--timeout", "60"], env=env, capture_output=True, text=True)
    assert run.returncode == 60, run.stdout + run.stderr
    return path


def test_frames_come_as_arrays_in_order(recording):
    frames = list(kx2.Recording(str(recording)))
    assert len(frames) == 6
    assert all(f.image.shape == ((1500, 1600) if f.raw else (750, 800)) for f in frames)
    assert [f.time for f in frames] == sorted(f.time for f in frames)
    assert frames[0].image.mean() < 60  # an empty, dark platen


def test_failures_keep_their_errors(recording):
    rec = kx2.Recording(str(recording))
    failed = [(c.name, c.last_error) for c in rec.calls() if not c.result]
    assert failed[0][1] == 121 and failed[-1][1] == 170
    assert rec.info["writer"] == "kxScanAPI recorder"


def test_damage_names_its_offset(recording, tmp_path):
    data = recording.read_bytes()
    cut = tmp_path / "cut.kxrec"
    cut.write_bytes(data[:len(data) - 100])
    with pytest.raises(kx2.RecordingError) as e:
        list(kx2.Recording(str(cut)).calls())
    assert "truncated" in str(e.value) and e.value.offset > 0
