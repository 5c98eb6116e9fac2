#!/usr/bin/env bash
# Installs the Debian packages that benchmarks compare plexa against, when they are missing.
# One package a line; the benchmarks build without any of them and skip that peer.
set -euo pipefail
peers=(
  libcairo2-dev
)
missing=()
for p in "${peers[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "bench-peers: installing ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
