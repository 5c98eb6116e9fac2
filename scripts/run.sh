#!/usr/bin/env bash
# The main job: builds the plexa library and tool (no tests) and traces the bundled example
# artwork into cut-ready outlines.
# Usage: scripts/run.sh [IMAGE [OUT.svg]]   (defaults: examples/sign.png, out/sign.svg)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --no-tests
image=${1:-examples/sign.png}
out=${2:-out/$(basename "${image%.*}").svg}
mkdir -p "$(dirname "$out")"
build/tools/plexa trace "$image" -o "$out"
echo "SVG written to $out"
