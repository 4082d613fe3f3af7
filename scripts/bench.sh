#!/usr/bin/env bash
# Builds the benchmarks in release mode and runs them; each prints its ratios against the
# yardstick measured in the same run.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=ON
cmake --build build-bench
for b in build-bench/bench/bench_*; do
  [ -x "$b" ] && "$b" "$@"
done
