#!/usr/bin/env bash
# Installs what is missing, builds, and runs the command-line program on the built-in
# simulator. Arguments go to the program (see --help).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=$(bash scripts/build.sh | tail -1)
exec "$dir/bin/lskx2" "$@"
