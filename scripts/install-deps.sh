#!/usr/bin/env bash
# Installs what the library, its tests and the demo need on Debian 12, plus any package
# named on the command line. Idempotent: quiet when every package is present.
set -euo pipefail
PKGS=(build-essential cmake pkg-config
      libboost-dev libboost-thread-dev libboost-date-time-dev
      libgtest-dev libgmock-dev libpng-dev zlib1g-dev libzstd-dev "$@")
missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
