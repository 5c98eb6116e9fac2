#!/usr/bin/env bash
# Installs the Debian packages that benchmarks compare against or read their inputs from, when
# they are missing. Benchmarks build without them and skip what they need.
# Usage: scripts/bench-peers.sh
set -euo pipefail

packages=(libboost-dev)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "bench-peers: installing ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
