#!/usr/bin/env bash
# Configures and builds one flavour of the tree: plain (build/), --asan (build-asan/),
# --tsan (build-tsan/), --noclones (build-noclones/). Prints the build folder on the last line.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=build; opts=(-DLSKX2_BENCH=OFF); targets=()
# A compiler cache, when present, lets several checkouts of the tree share object files.
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(dirname "$PWD")}" CCACHE_NOHASHDIR=1
  opts+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
case "${1:-}" in
  --asan) dir=build-asan; opts+=(-DLSKX2_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  # Only the suites with threads of their own are worth the slow ThreadSanitizer build.
  --tsan) dir=build-tsan; opts+=(-DLSKX2_TSAN=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo)
          targets=(--target capture_triplebuffer_tests capture_engine_tests device_tests sim_library_tests
                   roll_concurrency_tests hardening_stress_tests hardening_lifecycle_tests) ;;
  # The kernels' default versions, which an AVX2 machine never picks otherwise.
  --noclones) dir=build-noclones; opts+=(-DLSKX2_NO_CLONES=ON)
              targets=(--target operator_tests filter_tests mask_tests) ;;
  "") ;;
  *) echo "usage: $0 [--asan|--tsan|--noclones]" >&2; exit 2 ;;
esac
cmake -S . -B "$dir" "${opts[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)" "${targets[@]}" >/dev/null
echo "$dir"
