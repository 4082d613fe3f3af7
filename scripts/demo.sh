#!/usr/bin/env bash
# Builds velmora-demo and runs it on its built-in signal generator. Without a display it
# renders offscreen; either way it writes the snapshot build/velmora-demo.png.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

cmake -S . -B build -G Ninja -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF
cmake --build build --target velmora-demo
./build/velmora-demo --snapshot build/velmora-demo.png "$@"
