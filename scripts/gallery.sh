#!/usr/bin/env bash
# Builds velmora-gallery and renders every instrument offscreen into docs/img/gallery/: one
# PNG per scale layout (classic, and adaptive where the instruments offer it), palette (light,
# dark) and device pixel ratio (1, 2). BUILD_DIR picks the build tree (default build); an
# existing tree is reused as configured.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

build="${BUILD_DIR:-build}"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -G Ninja -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF
fi
cmake --build "$build" --target velmora-gallery
out=docs/img/gallery
mkdir -p "$out"
rm -f "$out"/*-[12]x.png   # images of a layout that is no longer rendered must not linger
QT_QPA_PLATFORM=offscreen "./$build/velmora-gallery" "$out"
