#!/usr/bin/env bash
# Fuzzes for a bounded time: ./scripts/fuzz.sh [SECONDS] (default 60, for each target).
# Builds the targets in tests/fuzz with clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz and runs them one after the other:
# - fuzz_formreader from the seeds: forms of the writer (tests/fuzz/corpus) and the
#   malformed forms (tests/framework/forms);
# - fuzz_widgets (absurd property values on every instrument) from tests/fuzz/widgets-corpus,
#   with a timeout of a few seconds, so that a slow paint is a failure too;
# - fuzz_netdecoder (the network stream messages) from tests/fuzz/net-corpus.
# New inputs go to build-fuzz/corpus, build-fuzz/widgets-corpus and build-fuzz/net-corpus, which later runs start
# from too; a crash or timeout leaves its input in build-fuzz/artifacts and fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
case "$seconds" in
  ''|*[!0-9]*) echo "usage: $0 [SECONDS]" >&2; exit 2 ;;
esac

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVELMORA_FUZZ=ON -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF > /dev/null
cmake --build build-fuzz -j "$(nproc)" --target fuzz_formreader fuzz_widgets fuzz_netdecoder

mkdir -p build-fuzz/corpus build-fuzz/widgets-corpus build-fuzz/net-corpus build-fuzz/artifacts
export QT_QPA_PLATFORM=offscreen
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export LSAN_OPTIONS=suppressions="$PWD/tests/lsan.supp"
./build-fuzz/tests/fuzz/fuzz_formreader -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
  -max_len=8192 -print_final_stats=1 -artifact_prefix=build-fuzz/artifacts/ \
  build-fuzz/corpus tests/fuzz/corpus tests/framework/forms
./build-fuzz/tests/fuzz/fuzz_widgets -max_total_time="$seconds" -timeout=5 -rss_limit_mb=4096 \
  -max_len=512 -len_control=0 -print_final_stats=1 -artifact_prefix=build-fuzz/artifacts/ \
  build-fuzz/widgets-corpus tests/fuzz/widgets-corpus
./build-fuzz/tests/fuzz/fuzz_netdecoder -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
  -max_len=4096 -print_final_stats=1 -artifact_prefix=build-fuzz/artifacts/ \
  build-fuzz/net-corpus tests/fuzz/net-corpus
