#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for SECONDS (default 60).
#   scripts/fuzz.sh [SECONDS] [TARGET...]
# Seeds and kept reproducers are in fuzz/corpus/<corpus>/ and are only read;
# what a run discovers goes to a scratch corpus under the build directory. A
# crash leaves its input in build-fuzz/artifacts/: add it to the target's
# corpus folder as a regression input once it is fixed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
shift || true
build=${NIMBEX_FUZZ_BUILD:-$root/build-fuzz}
"$root/scripts/install-deps.sh"
# NIMBEX_FUZZ_QUICK=1 optimises lightly, as the sanitizer builds do: for a
# short run (CI) the build is most of the time.
build_type=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${NIMBEX_FUZZ_QUICK:-0}" = 1 ]; then build_type=(-DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1"); fi
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja "${build_type[@]}" -DNIMBEX_FUZZ=ON \
  -DNIMBEX_BUILD_TESTS=OFF -DNIMBEX_BUILD_BENCH=OFF >/dev/null

# target:corpus folder
all=(fuzz_result_loader:result fuzz_scan:result fuzz_report_reader:report fuzz_catalog:catalog
     fuzz_session_storage:session fuzz_summary:summary)
selected=("$@")
targets=()
for entry in "${all[@]}"; do
  name=${entry%%:*}
  if [ ${#selected[@]} -eq 0 ] || printf '%s\n' "${selected[@]}" | grep -qx "$name"; then targets+=("$entry"); fi
done
names=()
for entry in "${targets[@]}"; do names+=("${entry%%:*}"); done
cmake --build "$build" -j "$(nproc)" --target "${names[@]}" nimbex-cl

mkdir -p "$build/artifacts"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
for entry in "${targets[@]}"; do
  name=${entry%%:*}
  corpus=$root/fuzz/corpus/${entry#*:}
  work=$build/corpus/$name
  mkdir -p "$work"
  # The report seed must match the rows the target reads: make it afresh.
  if [ "$name" = fuzz_report_reader ]; then
    scratch=$(mktemp -d)
    cp -r "$root/examples/basic" "$scratch/basic"
    "$build/tools/nimbex-cl/nimbex-cl" -report issues -project-dir "$scratch" --exp-dir basic -format=xml \
      --report-output "$work/example-report.xml" >/dev/null 2>&1 || true
    rm -rf "$scratch"
  fi
  echo "== $name (${seconds}s)"
  if ! "$build/fuzz/$name" -max_total_time="$seconds" -rss_limit_mb=4096 -timeout=30 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$name-" "$work" "$corpus" 2>"$build/$name.log"; then
    status=1
    tail -40 "$build/$name.log"
  fi
  grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$build/$name.log" | sed "s/^/   /"
done
exit $status
