#!/usr/bin/env bash
# Checks that every C++ file follows .clang-format; with --fix, reformats them in place.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null || { echo "check-format: clang-format is not installed" >&2; exit 1; }
mapfile -t files < <(git ls-files '*.h' '*.cpp' '*.inc' ':!:bench/gear_outline.inc')
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${files[@]}"
else
  clang-format --dry-run --Werror "${files[@]}"
  echo "formatting ok (${#files[@]} files)"
fi
