#!/usr/bin/env bash
# Builds velmora-gallery and renders every instrument offscreen into docs/img/gallery/: one
# PNG per scale layout (classic, and adaptive where the instruments offer it), palette (light,
# dark) and device pixel ratio (1, 2); the items of the QML module, each grabbed with
# grabToImage at ratio 1 and 2, into docs/img/quick/. BUILD_DIR picks the build tree (default build); an
# existing tree is reused as configured.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

build="${BUILD_DIR:-build}"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -G Ninja -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF
fi
cmake --build "$build" --target velmora-gallery velmora-quick-gallery
out=docs/img/gallery
mkdir -p "$out"
rm -f "$out"/*-[12]x.png   # images of a layout that is no longer rendered must not linger
QT_QPA_PLATFORM=offscreen "./$build/velmora-gallery" "$out"

quick=docs/img/quick
mkdir -p "$quick"
rm -f "$quick"/*.png
QT_QPA_PLATFORM=offscreen "./$build/velmora-quick-gallery" "$quick"
QT_QPA_PLATFORM=offscreen QT_SCALE_FACTOR=2 "./$build/velmora-quick-gallery" "$quick"
