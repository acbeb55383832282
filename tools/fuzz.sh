#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (in build-fuzz/) and runs each one
# for a fixed time over its seed corpus tests/fuzz/corpus/<target>/ and a
# working corpus in build-fuzz/corpus/<target>/ that grows between runs.
#   tools/fuzz.sh                   every target for 600 s, one after another
#   tools/fuzz.sh 20                every target for 20 s (what CI runs)
#   tools/fuzz.sh 3600 round_trip   one target for an hour
# A crash, leak or violated property stops that target and leaves the input in
# build-fuzz/findings/; the script then exits 1. Each finding belongs in the
# seed corpus as a regression case once it is fixed. Set FUZZ_JOBS=N to run N
# targets at once.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh

seconds=${1:-600}
shift || true
targets=("$@")
((${#targets[@]})) || targets=(store_reader round_trip text_forms interface_calls)

CC=clang-14 CXX=clang++-14 cmake -S . -B build-fuzz -G Ninja -DTROVE_FUZZ=ON -DTROVE_BUILD_TESTS=OFF \
  -DTROVE_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build-fuzz --target trove_fuzzers

mkdir -p build-fuzz/findings
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

run() {
  local target=$1 work=build-fuzz/corpus/$1 options=()
  mkdir -p "$work"
  # Small inputs reach every branch of these targets and keep them fast.
  case $target in
    store_reader | round_trip) options=(-dict=tests/fuzz/store.dict -max_len=1024) ;;
    text_forms) options=(-max_len=96) ;;
    interface_calls) options=(-max_len=512) ;;
  esac
  # -timeout: an input that runs this long is a hang, and a finding.
  if build-fuzz/tests/fuzz/fuzz_"$target" "${options[@]}" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix=build-fuzz/findings/"$target"- \
      "$work" tests/fuzz/corpus/"$target" >build-fuzz/"$target".log 2>&1; then
    echo "fuzz $target: $(sed -n 's/^stat::number_of_executed_units: *//p' build-fuzz/"$target".log) executions, no finding"
  else
    echo "fuzz $target: FINDING (log: build-fuzz/$target.log)"
    grep -E 'ERROR|violated|SUMMARY' build-fuzz/"$target".log | head -5
    return 1
  fi
}

status=0
pids=()
for target in "${targets[@]}"; do
  if (("${FUZZ_JOBS:-1}" > 1)); then
    run "$target" & pids+=($!)
    while (($(jobs -rp | wc -l) >= FUZZ_JOBS)); do sleep 1; done
  else
    run "$target" || status=1
  fi
done
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
exit $status
