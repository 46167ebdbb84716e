#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests.
#   scripts/test.sh          plain build, every test
#   scripts/test.sh --asan   AddressSanitizer + UndefinedBehaviorSanitizer, every test
#   scripts/test.sh --tsan   ThreadSanitizer, the threaded tests and the layering check
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-test-deps.sh
dir=$(bash scripts/build.sh "$@" | tail -1)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:halt_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
filter=()
[ "${1:-}" = "--tsan" ] && filter=(-R 'TripleBuffer|Thread|Concurren|Stress|Engine|Claim|LifecycleAbuse|layering_check')
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)" --timeout 300 "${filter[@]}"
