import json
import os
import tempfile

import pytest

# The machine-wide claim of a scanner uses lock files; keep ours apart from other runs.
if "VELTRANO_SDK_LOCK_DIR" not in os.environ:
    os.environ["VELTRANO_SDK_LOCK_DIR"] = tempfile.mkdtemp(prefix="lskx2-locks-")


@pytest.fixture(scope="session")
def scanner_name():
    """The simulated scanner's name: the default one, or the first of KXSIM_CONFIG."""
    serial = "21234567"
    if os.environ.get("KXSIM_CONFIG"):
        with open(os.environ["KXSIM_CONFIG"]) as f:
            serial = json.load(f)["devices"][0].get("serial", serial)
    return "KX2 " + serial
