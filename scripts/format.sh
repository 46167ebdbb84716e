#!/usr/bin/env bash
# Formats every C and C++ file of the tree with clang-format and .clang-format.
#   scripts/format.sh          rewrite the files in place
#   scripts/format.sh --check  change nothing; fail and name the files that differ
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null || bash scripts/install-deps.sh clang-format
mapfile -t files < <(git ls-files '*.c' '*.h' '*.cpp')
if [ "${1:-}" = "--check" ]; then
  out=$(clang-format --dry-run --Werror "${files[@]}" 2>&1) || true
  [ -z "$out" ] && exit 0
  grep -o '^[^: ]*:[0-9]*:' <<<"$out" | cut -d: -f1 | sort -u | sed 's/^/not formatted: /'
  exit 1
else
  clang-format -i "${files[@]}"
fi
