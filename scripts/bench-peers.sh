#!/usr/bin/env bash
# Installs the optional peers that benchmarks compare plexa against, when they are missing:
# Debian packages (one a line below) and npm packages under bench/peers. The benchmarks build
# and run without any of them and skip a comparison whose peer is absent.
set -euo pipefail
cd "$(dirname "$0")/.."

debian_peers=(
  libcairo2-dev
  lib2geom-dev
  libpotrace-dev
  potrace
  libboost-dev
  python3-pyclipper
  libopencv-contrib-dev
  libpolyclipping-dev
  mate-backgrounds
)
missing=()
for p in "${debian_peers[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "bench-peers: installing ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq || true
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null ||
    echo "bench-peers: could not install ${missing[*]}; those comparisons are skipped"
fi

if ! command -v npm >/dev/null 2>&1; then
  echo "bench-peers: npm not found; node peers skipped"
elif [ ! -d bench/peers/node_modules/potpack ]; then
  echo "bench-peers: installing potpack into bench/peers"
  npm install --prefix bench/peers --no-audit --no-fund potpack >/dev/null ||
    echo "bench-peers: potpack install failed; pack_bench will skip its comparison"
fi
