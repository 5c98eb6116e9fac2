#!/usr/bin/env bash
# Builds and runs the whole test suite through ctest.
# Usage: scripts/test.sh              the normal build
#        scripts/test.sh --sanitize   the same suite under AddressSanitizer + UBSan
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" = "--sanitize" ]; then
  scripts/setup.sh --sanitize
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
  # fontconfig keeps its configuration for the life of the process, by design.
  export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
  # The consumer check rebuilds the library twice; once, in the normal run, is enough.
  ctest --test-dir build-asan --output-on-failure -j "$(nproc)" -LE slow
else
  scripts/setup.sh
  ctest --test-dir build --output-on-failure -j "$(nproc)"
fi
