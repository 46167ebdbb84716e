#!/usr/bin/env bash
# Benchmark-only dependencies: Google Benchmark and OpenCV (never linked into the product).
set -euo pipefail
exec bash "$(dirname "$0")/install-deps.sh" libbenchmark-dev libopencv-dev
