#!/usr/bin/env bash
# Installs what is missing, builds, and runs nimbex-cl on each bundled example
# result (examples/*/).
#   scripts/run-example.sh [nimbex-cl options...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/build.sh" "$root/build" >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for example in "$root"/examples/*/; do
  name=$(basename "$example")
  echo "== examples/$name"
  # Work on a copy: the tool writes its report and cache into the result.
  cp -r "$example" "$work/$name"
  "$root/build/tools/nimbex-cl/nimbex-cl" -report issues -project-dir "$work" --exp-dir "$name" "$@"
done
