#!/usr/bin/env bash
# Installs the Debian packages of the peers that benchmarks compare against, when missing.
# Every peer is optional: a benchmark built without its peer still runs and reports the peer
# as not measured. Called by scripts/bench.sh.
set -euo pipefail

packages=(libcairo2-dev)

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
