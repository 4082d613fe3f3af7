#!/usr/bin/env bash
# Line and branch coverage of the library (not of the tests, benchmarks or examples):
# ./scripts/coverage.sh [BUILD_DIR]   (default build-cov)
# Builds the library and the tests with --coverage (Debug, no optimisation), runs the whole
# test suite and prints line and branch coverage per folder and in total. Branches are
# counted without the ones the compiler adds for exceptions. The full report (one row per
# file) goes to BUILD_DIR/coverage.txt, the per-folder table to BUILD_DIR/coverage-folders.txt.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-cov}
if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="--coverage -O0" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage \
  -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=ON > /dev/null
cmake --build "$build" -j "$(nproc)"
find "$build" -name '*.gcda' -delete
QT_QPA_PLATFORM=offscreen ctest --test-dir "$build" -j "$(nproc)" --output-on-failure > "$build/coverage-ctest.log" \
  || { tail -40 "$build/coverage-ctest.log"; exit 1; }

# Library folders only: everything but tests, benchmarks, examples and generated code.
gcovr --root . --object-directory "$build" --exclude-unreachable-branches --exclude-throw-branches \
  --exclude '(.+/)?tests/' --exclude '(.+/)?bench/' --exclude '(.+/)?examples/' --exclude "$build/" \
  --exclude '.*_autogen/' --json-summary "$build/coverage.json" --txt "$build/coverage.txt" \
  --print-summary > /dev/null

python3 - "$build/coverage.json" <<'PY' | tee "$build/coverage-folders.txt"
import json, sys
from collections import defaultdict
data = json.load(open(sys.argv[1]))
sums = defaultdict(lambda: [0, 0, 0, 0])
for f in data["files"]:
    name = f["filename"]
    folder = name.split("/")[0] if "/" in name else "."
    if folder == "host":  # the programs apart from the host library
        parts = name.split("/")
        folder = "host/" + parts[1] if len(parts) > 2 else "host"
    s = sums[folder]
    s[0] += f["line_covered"]; s[1] += f["line_total"]
    s[2] += f["branch_covered"]; s[3] += f["branch_total"]
def pct(a, b):
    return f"{100.0 * a / b:5.1f} %" if b else "    -  "
print(f"{'folder':<18} {'lines':>9} {'covered':>9} {'branches':>9} {'covered':>9}")
total = [0, 0, 0, 0]
for folder in sorted(sums):
    s = sums[folder]
    total = [t + v for t, v in zip(total, s)]
    print(f"{folder:<18} {s[1]:>9} {pct(s[0], s[1]):>9} {s[3]:>9} {pct(s[2], s[3]):>9}")
print(f"{'library':<18} {total[1]:>9} {pct(total[0], total[1]):>9} {total[3]:>9} {pct(total[2], total[3]):>9}")
PY
