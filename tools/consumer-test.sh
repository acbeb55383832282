#!/usr/bin/env bash
# Installs trove into a scratch prefix from a scratch build, deletes the build
# tree, then builds a program outside the source tree against the install,
# once with find_package(trove) and once with pkg-config, and runs both, the
# installed example and the installed trove tool.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD
scratch=$(mktemp -d)
prefix=$scratch/prefix
# Inside the source tree (and always the same), so that ccache finds its objects.
build=$source_dir/build-consumer
trap 'rm -rf "$scratch" "$build"' EXIT
rm -rf "$build"

launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B "$build" -G Ninja -DTROVE_BUILD_TESTS=OFF -DTROVE_BUILD_BENCH=OFF \
  -DCMAKE_INSTALL_PREFIX="$prefix" "${launcher[@]}" >/dev/null
cmake --build "$build" --target trove_library trove_registry trove
cmake --install "$build" >/dev/null
rm -rf "$build"
echo "installed into $prefix; build tree removed"

# find_package
cp -r "$source_dir/tools/consumer" "$scratch/consumer"
cmake -S "$scratch/consumer" -B "$scratch/consumer/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/consumer/build" >/dev/null
"$scratch/consumer/build/consumer" "$scratch/store.xml" | tee "$scratch/first.txt"
grep -q "runs 1$" "$scratch/first.txt"

# pkg-config
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name trove.pc)")
libdir=$(pkg-config --variable=libdir trove)
c++ -std=c++20 -o "$scratch/consumer-pc" "$scratch/consumer/main.cc" \
  $(pkg-config --cflags --libs trove) -Wl,-rpath,"$libdir"
"$scratch/consumer-pc" "$scratch/store.xml" | tee "$scratch/second.txt"
grep -q "runs 2$" "$scratch/second.txt"
test -f "$(pkg-config --variable=module trove)"

example=$(find "$prefix" -name quickstart.cc)
c++ -std=c++20 -o "$scratch/quickstart" "$example" \
  $(pkg-config --cflags --libs trove) -Wl,-rpath,"$libdir"
"$scratch/quickstart" "$scratch/quickstart.xml" >/dev/null

"$prefix/bin/trove" --version | grep -qx "trove $(pkg-config --modversion trove)"
"$prefix/bin/trove" --store "$scratch/store.xml" get consumer runs | grep -qx 2
echo "consumer test passed"
