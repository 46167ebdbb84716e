import os
import tempfile

# The machine-wide claim of a scanner uses lock files; keep ours apart from other runs.
if "VELTRANO_SDK_LOCK_DIR" not in os.environ:
    os.environ["VELTRANO_SDK_LOCK_DIR"] = tempfile.mkdtemp(prefix="lskx2-locks-")
