#!/usr/bin/env bash
# Installs the Debian packages plexa needs when they are missing, then configures and builds.
# Usage: scripts/setup.sh [--no-tests] [--sanitize] [--bench] [--fuzz]
#   --no-tests builds the library, the tool and the examples only (what scripts/run.sh needs)
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++ ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libfreetype-dev libfontconfig-dev fonts-dejavu-core libstb-dev libcli11-dev
          libpugixml-dev libharfbuzz-dev libimagequant-dev python3
          pybind11-dev python3-pybind11 python3-pytest python3-numpy clang-format)
sanitize=0; bench=0; fuzz=0; tests=ON
for arg in "$@"; do
  case "$arg" in
    --no-tests) tests=OFF ;;
    --sanitize) sanitize=1 ;;
    --bench) bench=1 ;;
    --fuzz) fuzz=1; packages+=(clang libclang-rt-dev) ;;
    *) echo "setup.sh: unknown option $arg" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi

if [ $fuzz -eq 1 ]; then
  dir=build-fuzz
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
        -DPLEXA_BUILD_FUZZ=ON -DPLEXA_BUILD_TESTS=OFF -DPLEXA_BUILD_TOOLS=OFF -DBUILD_SHARED_LIBS=OFF >/dev/null
elif [ $sanitize -eq 1 ]; then
  dir=build-asan
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPLEXA_SANITIZE=ON -DCMAKE_CXX_FLAGS=-O1 >/dev/null
elif [ $bench -eq 1 ]; then
  dir=build-bench
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLEXA_BUILD_BENCH=ON -DPLEXA_BUILD_TESTS=OFF >/dev/null
else
  dir=build
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPLEXA_BUILD_TESTS=$tests \
        ${PLEXA_CMAKE_ARGS:-} >/dev/null
fi
cmake --build "$dir" -j "$(nproc)"
