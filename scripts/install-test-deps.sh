#!/usr/bin/env bash
# What the tests need beyond the build: a headless browser that renders the HTML report
# of the command-line program.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh chromium
