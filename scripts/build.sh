#!/usr/bin/env bash
# Configures and builds one flavour of the tree: plain (build/), --asan (build-asan/),
# --tsan (build-tsan/). Prints the build folder on the last line.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=build; opts=(-DLSKX2_BENCH=OFF)
case "${1:-}" in
  --asan) dir=build-asan; opts+=(-DLSKX2_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  --tsan) dir=build-tsan; opts+=(-DLSKX2_TSAN=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  "") ;;
  *) echo "usage: $0 [--asan|--tsan]" >&2; exit 2 ;;
esac
cmake -S . -B "$dir" "${opts[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)" >/dev/null
echo "$dir"
