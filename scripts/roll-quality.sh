#!/usr/bin/env bash
# Builds and writes the capture-quality report of rolled prints: the fixed matrix of
# scripted rolls through the C interface in both merge modes, against the simulator's
# ground truth. Usage: scripts/roll-quality.sh [OUT] [roll_quality options, e.g. --only whorl]
# OUT (default out/roll-quality) receives report.md (per case and summary, Markdown) and
# contact_sheet.png. Takes a few minutes: frames are paced at 15 ms, as roll judgement
# measures speed from the clock.
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-out/roll-quality}
[ $# -gt 0 ] && shift
dir=$(bash scripts/build.sh | tail -1)
mkdir -p "$out"
"$dir/bin/roll_quality" -o "$out" "$@" | tee "$out/report.md"
echo "Report: $out/report.md; rolled images: $out/contact_sheet.png"
