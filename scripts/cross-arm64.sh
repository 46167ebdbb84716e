#!/usr/bin/env bash
# Builds the operator, filter, histogram, region, mask, roll and capture engine suites for
# arm64 with Debian's cross tool chain (build-arm64/) and runs them under qemu-user: the
# pixel work must give the same results there as on x86-64.
set -euo pipefail
cd "$(dirname "$0")/.."
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  $SUDO dpkg --add-architecture arm64
  $SUDO apt-get update -qq
fi
PKGS=(g++-aarch64-linux-gnu qemu-user cmake
      libboost-dev:arm64 libboost-thread-dev:arm64 libboost-regex-dev:arm64
      libboost-date-time-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64 libpng-dev:arm64)
missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
opts=(-DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo
      -DLSKX2_BENCH=OFF -DLSKX2_HARDENING=OFF)
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(dirname "$PWD")}" CCACHE_NOHASHDIR=1
  opts+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
suites=(operator_tests filter_tests histogram_tests regions_tests mask_tests roll_tests
        capture_engine_tests)
cmake -S . -B build-arm64 "${opts[@]}" >/dev/null
cmake --build build-arm64 -j"$(nproc)" --target "${suites[@]}" kxScanAPI >/dev/null
# Each suite runs whole under the emulator (one process per suite, not per case).
export LSKX2_BIN_DIR="$PWD/build-arm64/bin" QEMU_LD_PREFIX=/usr/aarch64-linux-gnu
failed=0
# The engine's cases on the simulator do not finish under qemu-user yet (the first one
# waits without end): only its frame preparation and judgement run here.
declare -A filter=([capture_engine_tests]='KX2FramePrep.*:KX2FrameJudge.*')
for s in "${suites[@]}"; do
  echo "== $s (arm64)"
  if ! qemu-aarch64 "build-arm64/bin/$s" --gtest_brief=1 --gtest_filter="${filter[$s]:-*}"; then
    failed=1
  fi
done
exit $failed
