#!/usr/bin/env bash
# Builds everything (library, host, tests, benchmarks) and runs the whole test suite twice:
# in the normal build and in a build with AddressSanitizer and UndefinedBehaviorSanitizer.
# Between the two it installs the package and builds and runs examples/consumer against it.
# The 32-bit record layout check runs as part of the suite. After the sanitizer build the
# form reader and the instruments are fuzzed for a minute each (scripts/fuzz.sh).
# `--no-sanitize` skips the second build and the fuzz runs.
set -euo pipefail
cd "$(dirname "$0")/.."

sanitize=1
for arg in "$@"; do
  case "$arg" in
    --no-sanitize) sanitize=0 ;;
    *) echo "unknown option: $arg" >&2; exit 2 ;;
  esac
done

if [ "$(id -u)" = 0 ]; then ./scripts/install-deps.sh; fi

jobs=$(nproc)
export QT_QPA_PLATFORM=offscreen

cmake -S . -B build -G Ninja -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=ON -DVELMORA_BUILD_DESIGNER_PLUGIN=ON \
  -DVELMORA_REQUIRE_M32_CHECK=ON
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

# The installed package: an application outside the tree finds it and runs a chain.
rm -rf build/stage build/consumer
cmake --install build --prefix build/stage > /dev/null
cmake -S examples/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$PWD/build/stage"
cmake --build build/consumer -j "$jobs"
./build/consumer/velmora-consumer

if [ "$sanitize" = 1 ]; then
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMORA_SANITIZE=ON \
    -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=OFF -DVELMORA_REQUIRE_M32_CHECK=ON
  cmake --build build-asan -j "$jobs"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  LSAN_OPTIONS=suppressions="$PWD/tests/lsan.supp" \
    ctest --test-dir build-asan --output-on-failure -j "$jobs"

  # The form reader and the instruments under libFuzzer (clang, with the same sanitizers),
  # for one minute each.
  ./scripts/fuzz.sh 60

  # The threaded host sources under ThreadSanitizer.
  cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMORA_TSAN=ON \
    -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF
  cmake --build build-tsan -j "$jobs" --target test_host
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    ./build-tsan/tests/test_host --gtest_filter='ThreadBridge*:FilePlayer*'
fi
echo "All tests passed."
