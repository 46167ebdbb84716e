#!/usr/bin/env bash
# Benchmark-only dependencies: Google Benchmark and OpenCV (never linked into the product).
set -euo pipefail
"$(dirname "$0")/install-deps.sh"
PKGS=(libbenchmark-dev libopencv-dev)
missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
