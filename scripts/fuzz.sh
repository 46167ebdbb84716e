#!/usr/bin/env bash
# Builds the libFuzzer targets in build-fuzz (clang, ASan and UBSan) and runs each for the
# given seconds (default 12), starting from its seed corpus in fuzz/corpus/<target>/.
# Fails on any crash, leak or timeout; the failing input lands in build-fuzz/findings/.
#   scripts/fuzz.sh            about a minute in all, as CI runs it
#   scripts/fuzz.sh 600        ten minutes per target
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-12}
bash scripts/install-deps.sh clang libclang-rt-14-dev
dir=build-fuzz
# -O1 with line tables: what fuzzing wants, and the instrumented image code compiles in
# a fraction of the time -O2 takes.
opts=(-DLSKX2_FUZZ=ON -DLSKX2_TESTS=OFF -DLSKX2_BENCH=OFF -DCMAKE_BUILD_TYPE=None
      "-DCMAKE_C_FLAGS=-O1 -gline-tables-only" "-DCMAKE_CXX_FLAGS=-O1 -gline-tables-only"
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(dirname "$PWD")}" CCACHE_NOHASHDIR=1
  opts+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
targets=(scanner_json roll_thresholds properties sequence bitmap sim_config record_file)
cmake -S . -B "$dir" "${opts[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)" --target "${targets[@]/#/fuzz_}" >/dev/null
export VELTRANO_SDK_LOCK_DIR=${VELTRANO_SDK_LOCK_DIR:-$(mktemp -d)}
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
mkdir -p "$dir/findings"
failed=0
for t in "${targets[@]}"; do
  # The corpus grown by earlier runs is kept beside the build and read with the seeds.
  mkdir -p "$dir/corpus/$t"
  log="$dir/$t.log"
  # The JSON readers get the dictionary of the document's keys and extreme values.
  dict=()
  case $t in scanner_json|roll_thresholds) dict=(-dict=fuzz/json.dict) ;; esac
  # No input may cost more than a fraction of this: a single allocation above the malloc
  # limit, or a process above the RSS limit, is a finding.
  if "$dir/bin/fuzz_$t" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
       -malloc_limit_mb=256 -max_len=4096 "${dict[@]}" \
       -print_final_stats=1 -artifact_prefix="$dir/findings/$t-" "$dir/corpus/$t" "fuzz/corpus/$t" >"$log" 2>&1; then
    echo "fuzz $t: $(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | grep -o '[0-9]*$') executions in ${seconds} s"
  else
    echo "fuzz $t: FAILED, see $log"; grep -E 'ERROR|SUMMARY|Test unit written' "$log" | head -5
    failed=1
  fi
done
exit $failed
