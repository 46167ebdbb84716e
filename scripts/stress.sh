#!/usr/bin/env bash
# Full hardening counts: the stress at 8 threads x 1000 rounds and the fault injection at
# every position of every device call, in an ASan build of their own (or the folder given).
# The regular test run has the same suites at reduced counts.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=${1:-build-hardening}
if [ -z "${1:-}" ]; then
  cmake -S . -B "$dir" -DLSKX2_BENCH=OFF -DLSKX2_SANITIZE=ON >/dev/null
fi
cmake --build "$dir" -j"$(nproc)" --target hardening_fault_tests hardening_stress_tests hardening_lifecycle_tests \
  hardening_regression_tests >/dev/null
export VELTRANO_SDK_LOCK_DIR=${VELTRANO_SDK_LOCK_DIR:-$(mktemp -d)}
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:halt_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
LSKX2_STRESS_ROUNDS=1000 "$dir/bin/hardening_stress_tests"
LSKX2_FAULT_FULL=1 "$dir/bin/hardening_fault_tests"
"$dir/bin/hardening_lifecycle_tests"
"$dir/bin/hardening_regression_tests"
