#!/usr/bin/env bash
# Installs what is missing, builds, and runs nimbex-cl on the bundled example.
#   scripts/run-example.sh [nimbex-cl options...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/build.sh" "$root/build" >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Work on a copy: the tool writes its report and cache into the result.
cp -r "$root/examples/basic" "$work/basic"
"$root/build/tools/nimbex-cl/nimbex-cl" -report issues -project-dir "$work" --exp-dir basic "$@"
