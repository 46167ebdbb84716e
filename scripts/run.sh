#!/usr/bin/env bash
# Installs what is missing, builds, and runs the command-line program on the built-in
# simulator. Without arguments: a plain capture and a roll into out/ (PNG, JSON and
# out/report.html). With arguments: they go to the program (see: scripts/run.sh --help).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=$(bash scripts/build.sh | tail -1)
[ $# -gt 0 ] && exec "$dir/bin/lskx2" "$@"
status=0
"$dir/bin/lskx2" demo --out out || status=$?
echo "Pictures and figures are in $PWD/out/; open out/report.html in a browser."
exit $status
