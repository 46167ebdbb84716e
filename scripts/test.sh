#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests.
#   scripts/test.sh          plain build, every test
#   scripts/test.sh --asan   AddressSanitizer + UndefinedBehaviorSanitizer, every test
#   scripts/test.sh --tsan   ThreadSanitizer, the threaded tests and the layering check
#   scripts/test.sh --noclones  the suites of the pixel kernels, built without AVX2 clones
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-test-deps.sh
dir=$(bash scripts/build.sh "$@" | tail -1)
# A claim folder of the run's own, so that runs in other checkouts on this machine do not
# hold the simulated scanners this run opens.
export VELTRANO_SDK_LOCK_DIR=${VELTRANO_SDK_LOCK_DIR:-$(mktemp -d)}
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:halt_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
if [ "${1:-}" = "--noclones" ]; then
  for suite in operator_tests filter_tests mask_tests; do
    "$dir/bin/$suite" --gtest_brief=1
  done
  exit 0
fi
filter=()
[ "${1:-}" = "--tsan" ] && filter=(-R 'TripleBuffer|Thread|Concurren|Stress|Engine|Claim|LifecycleAbuse|layering_check')
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)" --timeout 300 "${filter[@]}"
