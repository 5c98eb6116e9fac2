#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them all (or those named), printing medians of
# several repetitions. Peers that a benchmark compares against are installed here only.
# Usage: scripts/bench.sh [name_bench ...]
set -euo pipefail
cd "$(dirname "$0")/.."
[ -x scripts/bench-peers.sh ] && scripts/bench-peers.sh
scripts/setup.sh --bench
names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for f in bench/*_bench.cpp; do names+=("$(basename "$f" .cpp)"); done
fi
for n in "${names[@]}"; do
  echo "== $n"
  "build-bench/bench/$n" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
      --benchmark_display_aggregates_only=true
done
# The Python module's call overhead (and pyclipper where installed), when the module was built.
if [ $# -eq 0 ] && ls build-bench/python/plexa.*.so >/dev/null 2>&1; then
  echo "== python_bench"
  PYTHONPATH=build-bench/python /usr/bin/python3 bench/python_bench.py
fi
