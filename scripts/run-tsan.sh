#!/usr/bin/env bash
# Builds the suites that exercise threads (scheduler, engine, issues task,
# records, session storage) under ThreadSanitizer and runs them.
#   scripts/run-tsan.sh [BUILD_DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-$root/build-tsan}
"$root/scripts/install-deps.sh"
suites=(
  tests/platform/foundation/foundation_tests
  tests/data_abstractions2/data_abstractions2_tests
  tests/platform/model_support/model_support_tests
  tests/platform/configuration/configuration_tests
  tests/discmodels2/recommendations_model/core/issues_task_tests
  tests/discmodels2/recommendations_model/core/recommendations_engine_tests
)
targets=()
for s in "${suites[@]}"; do targets+=("$(basename "$s")"); done
cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" \
  -DNIMBEX_TSAN=ON -DNIMBEX_BUILD_BENCH=OFF >/dev/null
cmake --build "$build_dir" -j "$(nproc)" --target "${targets[@]}" nimbex-cl
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1"
export NIMBEX_SOURCE_DIR="$root"
failed=0
for s in "${suites[@]}"; do
  echo "== $s (ThreadSanitizer)"
  if ! (cd "$build_dir/$(dirname "$s")" && "./$(basename "$s")" --gtest_brief=1); then failed=1; fi
done
exit $failed
