#!/usr/bin/env bash
# Installs the optional comparison peers of the benchmarks, when node/npm are present and
# the peer is absent. Benchmarks skip a comparison whose peer is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v npm >/dev/null 2>&1; then
  echo "bench-peers: npm not found; node peers skipped"
  exit 0
fi
if [ ! -d bench/peers/node_modules/potpack ]; then
  echo "bench-peers: installing potpack into bench/peers"
  npm install --prefix bench/peers --no-audit --no-fund potpack >/dev/null || \
    echo "bench-peers: potpack install failed; pack_bench will skip its comparison"
fi
