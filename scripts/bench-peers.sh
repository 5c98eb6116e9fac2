#!/usr/bin/env bash
# Installs the peer libraries the benchmarks compare against, when missing: lib2geom (arc
# length, exact bounds, nearest point) and cairo (flattening). Benchmarks build without them.
set -euo pipefail
peers=(lib2geom-dev libboost-dev libcairo2-dev)  # lib2geom's headers need boost
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
