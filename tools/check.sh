#!/usr/bin/env bash
# Builds trove with warnings as errors and runs the whole test suite.
#   tools/check.sh             regular build in build/
#   tools/check.sh --sanitize  AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
#   tools/check.sh --tsan      ThreadSanitizer build in build-tsan/
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh

dir=build
flags=(-DTROVE_WERROR=ON -DTROVE_BUILD_BENCH=OFF)
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  flags+=(-DTROVE_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
elif [ "${1:-}" = "--tsan" ]; then
  dir=build-tsan
  flags+=(-DTROVE_TSAN=ON)
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
fi

cmake -S . -B "$dir" -G Ninja "${flags[@]}" >/dev/null
cmake --build "$dir"
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
