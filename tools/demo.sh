#!/usr/bin/env bash
# Builds the trove tool and shows the bundled example store. The example is
# copied to a scratch directory first, so the bundled file stays clean.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake -S . -B build -G Ninja -DTROVE_BUILD_BENCH=OFF >/dev/null
cmake --build build --target trove
scratch=$(mktemp -d)
cp examples/profiles.xml "$scratch/profiles.xml"
echo "store: $scratch/profiles.xml"
./build/cli/trove --store "$scratch/profiles.xml" tree
