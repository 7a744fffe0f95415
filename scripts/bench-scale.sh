#!/usr/bin/env bash
# Measures nimbex-cl against the limit of reading the same file, at several
# sizes, interleaved in one go:
#   limit   bench/parse_limit: simdjson on demand, every value read once
#   first   nimbex-cl -format=xml on a result without a report (a scan)
#   cached  the same again, with the report of the first run current
# and prints seconds, time ratios to the limit and peak memory per row.
#   scripts/bench-scale.sh [ROWS...]        (default: 10000 100000 1000000)
# Uses an optimised build in build-rel/ (made if missing). Large sizes need
# disk and memory: 10^6 rows are 1.3 GB of result.json.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${NIMBEX_BENCH_BUILD:-$root/build-rel}
sizes=("$@")
[ ${#sizes[@]} -eq 0 ] && sizes=(10000 100000 1000000)
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DNIMBEX_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target nimbex-cl nimbex-gen parse_limit >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "seconds peak_kb" of a command.
measure() {
  /usr/bin/time -f "%e %M" -o "$work/time" "$@" >/dev/null 2>"$work/err" || { cat "$work/err" >&2; return 1; }
  cat "$work/time"
}

printf "%9s %8s %8s %8s %7s %7s %9s %9s %9s\n" rows limit_s first_s cached_s first/x cached/x limit_KB/r first_KB/r cache_KB/r
for rows in "${sizes[@]}"; do
  dir="$work/r$rows"
  "$build/tools/nimbex-gen/nimbex-gen" --rows "$rows" --shape mixed --call-tree --machine-code "$dir" >/dev/null
  read -r lt lm < <(measure "$build/bench/parse_limit" "$dir")
  read -r ft fm < <(measure "$build/tools/nimbex-cl/nimbex-cl" -report issues -project-dir "$work" --exp-dir "r$rows" -format=xml --rescan)
  read -r ct cm < <(measure "$build/tools/nimbex-cl/nimbex-cl" -report issues -project-dir "$work" --exp-dir "r$rows" -format=xml)
  awk -v r="$rows" -v lt="$lt" -v ft="$ft" -v ct="$ct" -v lm="$lm" -v fm="$fm" -v cm="$cm" 'BEGIN {
    printf "%9d %8.2f %8.2f %8.2f %7.1f %7.1f %9.2f %9.2f %9.2f\n", r, lt, ft, ct, ft / (lt > 0 ? lt : 0.01),
      ct / (lt > 0 ? lt : 0.01), lm / r, fm / r, cm / r }'
  rm -rf "$dir"
done
