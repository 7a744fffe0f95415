#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
#   scripts/run-tests.sh [BUILD_DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-$root/build}
"$root/scripts/build.sh" "$build_dir"
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" ${NIMBEX_CTEST_ARGS:-}
