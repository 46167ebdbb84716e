#!/usr/bin/env bash
# Sampled mutation run of the library against its tests, in its own build folder.
#   scripts/mutation-run.sh [--seed N] [--mutants N] [--folders a,b] [--until MINUTES] [--list]
# Writes build-mut/mutation.md (the table per folder and the survivors) and
# build-mut/mutation.jsonl (one line per mutant, as it is judged).
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-mut
state=$build/mutation-pending.json
mkdir -p "$build"

# Put back the file of the mutant under test, whatever ends this script.
restore() {
  if [ -f "$state" ]; then
    python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); open(d["path"],"w").write(d["original"])' "$state"
    rm -f "$state"
    echo "mutation-run: restored the source of the mutant under test" >&2
  fi
}
trap restore EXIT
trap 'exit 130' INT TERM HUP
restore   # a run killed outright (kill -9) leaves its copy for the next one

export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD/..} CCACHE_NOHASHDIR=1
if [ ! -f "$build/CMakeCache.txt" ]; then
  nice -n 19 cmake -S . -B "$build" -DLSKX2_BENCH=OFF -DLSKX2_HARDENING=OFF \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache >/dev/null
fi
nice -n 19 python3 scripts/mutation_run.py --build "$build" --state "$state" \
  --out "$build/mutation.md" "$@"
