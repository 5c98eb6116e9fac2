#!/usr/bin/env bash
# The main job: builds plexa and runs the example program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build/examples/plexa_example
