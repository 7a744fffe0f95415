#!/usr/bin/env bash
# Installs the Debian packages the build needs. Safe to run again: packages
# that are already present are skipped, and apt is only touched when needed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libboost-dev libboost-filesystem-dev libboost-system-dev
  libboost-program-options-dev libboost-thread-dev
  liblog4cplus-dev libpugixml-dev libexpat1-dev libsimdjson-dev libzydis-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libdw-dev libelf-dev zlib1g-dev libyaml-dev clang
  linux-perf valgrind
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

# The report tests drive Chromium with npm packages; node may come from
# another source than Debian, so only its absence asks for Debian's.
if ! command -v npm >/dev/null; then
  missing+=(nodejs npm)
fi

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
