#!/usr/bin/env bash
# Generates the API documentation with Doxygen (installed here when missing, from Debian's
# doxygen package) into build/docs/html; open build/docs/html/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! command -v doxygen >/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq doxygen >/dev/null
fi
mkdir -p build/docs
(cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = build/docs") | doxygen -
echo "API documentation: build/docs/html/index.html"
