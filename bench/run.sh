#!/usr/bin/env bash
# Builds the load and per-call benchmarks in Release and prints the whole
# comparison as Markdown: the machine, the load and save table for every
# store shape, and the per-call table.
#
#   bash bench/run.sh [--budget=SECONDS] [--quick] [--min-time=SECONDS]
#
# --budget bounds each measurement process (one library on one store, or
# one store size of the per-call table); what does not finish in time is
# reported as "skipped: > N s". --quick leaves out the largest stores.
# Set TROVE_BENCH_BUILD to choose the build directory (default build-bench).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${TROVE_BENCH_BUILD:-$root/build-bench}

for option in "$@"; do
  case $option in
    --budget=*|--min-time=*|--quick) ;;
    *) echo "usage: bash bench/run.sh [--budget=SECONDS] [--min-time=SECONDS] [--quick]" >&2
       exit 2 ;;
  esac
done

configure=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DTROVE_BUILD_TESTS=OFF -DTROVE_BUILD_BENCH=ON)
if command -v ccache >/dev/null; then
  configure+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
echo "building in $build ..." >&2
cmake -S "$root" -B "$build" "${configure[@]}" >/dev/null
cmake --build "$build" --target bench_load bench_calls >/dev/null

model=$(lscpu | sed -n 's/^Model name:[[:space:]]*//p' | head -n1)
echo "# trove benchmarks"
echo
echo "- machine: ${model:-unknown CPU}, $(nproc) cores, $(free -g | awk '/^Mem:/ {print $2}') GiB"
echo "- date: $(date -u '+%Y-%m-%d %H:%M UTC'), commit $(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo unknown)"
echo "- load average at the start: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
"$build/bench/bench_load" "$@"
"$build/bench/bench_calls" "$@"
echo
echo "- load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
