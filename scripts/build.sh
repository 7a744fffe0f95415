#!/usr/bin/env bash
# Configures and builds into a build directory.
#   scripts/build.sh [BUILD_DIR] [extra cmake args...]
# NIMBEX_SANITIZE=1 builds with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-$root/build}
shift || true
"$root/scripts/install-deps.sh"
args=(-G Ninja -DCMAKE_BUILD_TYPE=${NIMBEX_BUILD_TYPE:-RelWithDebInfo})
# Sanitizer builds optimise lightly and keep only line tables: they exist to
# run the tests, and a full optimising build with debug info costs them
# several minutes more on a two-core machine.
sanitizer_flags=(-DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" -DNIMBEX_BUILD_BENCH=OFF)
if [ "${NIMBEX_SANITIZE:-0}" = 1 ]; then args+=(-DNIMBEX_SANITIZE=ON "${sanitizer_flags[@]}"); fi
if [ "${NIMBEX_TSAN:-0}" = 1 ]; then args+=(-DNIMBEX_TSAN=ON "${sanitizer_flags[@]}"); fi
cmake -S "$root" -B "$build_dir" "${args[@]}" "$@" >/dev/null
cmake --build "$build_dir" -j "$(nproc)"
