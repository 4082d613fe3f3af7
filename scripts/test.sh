#!/usr/bin/env bash
# Builds everything (library, host, tests, benchmarks) and runs the whole test suite twice:
# in the normal build and in a build with AddressSanitizer and UndefinedBehaviorSanitizer.
# Between the two it installs the package and builds and runs every program under examples/
# against it (again against the sanitizer build), builds the API reference (a documentation
# warning in a public header fails) and checks that the code blocks of the docs are excerpts
# of those programs (scripts/check-docs.py).
# The 32-bit record layout check runs as part of the suite. After the sanitizer build the
# form reader, the instruments and the stream decoder are fuzzed for a minute each (scripts/fuzz.sh).
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

# A private PulseAudio server for the sound card tests: a null sink the tests play a tone
# into, and its monitor remapped as an ordinary input (Qt lists no monitor sources). It runs
# as root too (with a warning), in a runtime folder of its own, and stops when this script
# ends. While it runs, the audio tests fail instead of skipping when it is not reachable.
start_audio_server() {
  local dir
  dir=$(mktemp -d /tmp/velmora-pulse.XXXXXX)
  export PULSE_SERVER="unix:$dir/native" VELMORA_AUDIO_DEVICE=velmora_capture VELMORA_AUDIO_SINK=velmora_null
  export VELMORA_REQUIRE_AUDIO=1
  HOME="$dir" XDG_RUNTIME_DIR="$dir" PULSE_RUNTIME_PATH="$dir" pulseaudio -n --daemonize=no \
    --exit-idle-time=-1 --use-pid-file=no --log-target=file:"$dir/log" \
    --load="module-native-protocol-unix auth-anonymous=1 socket=$dir/native" \
    --load="module-null-sink sink_name=velmora_null format=float32le rate=48000 channels=1" \
    --load="module-remap-source master=velmora_null.monitor source_name=velmora_capture" &
  audio_server=$!
  trap 'kill "$audio_server" 2>/dev/null || true' EXIT
  for _ in $(seq 50); do [ -S "$dir/native" ] && return 0; sleep 0.1; done
  # A machine that cannot run the server at all still runs everything else: the capture
  # tests then skip, saying why, and this warning stands in the log.
  echo "WARNING: the PulseAudio server did not start; the sound card capture tests will skip:" >&2
  cat "$dir/log" >&2 || true
  unset PULSE_SERVER VELMORA_REQUIRE_AUDIO
}
start_audio_server

# Installs the package of build directory $1 into $1/stage and builds and runs every program
# under examples/ against it, each as its own project; further arguments go to their cmake.
run_examples() {
  local build=$1; shift
  rm -rf "$build/stage" "$build/examples"
  cmake --install "$build" --prefix "$build/stage" > /dev/null
  for dir in examples/*/; do
    local name out program
    name=$(basename "$dir")
    out="$build/examples/$name"
    cmake -S "$dir" -B "$out" -G Ninja -DCMAKE_PREFIX_PATH="$PWD/$build/stage" "$@" > /dev/null
    cmake --build "$out" -j "$jobs"
    program=$(find "$out" -maxdepth 1 -type f -executable -name 'velmora-*')
    [ -n "$program" ] || { echo "no program built in $out" >&2; return 1; }
    echo "== $program"
    "$program"
    # The QML tools find the installed module's types too.
    for qml in "$dir"*.qml; do
      [ -e "$qml" ] || continue
      /usr/lib/qt6/bin/qmllint -I "$(dirname "$(find "$build/stage" -path '*/qml/Velmora/qmldir')")/.." "$qml"
    done
  done
}

cmake -S . -B build -G Ninja -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=ON -DVELMORA_BUILD_DESIGNER_PLUGIN=ON \
  -DVELMORA_REQUIRE_M32_CHECK=ON
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"
# The QML of the demo, the gallery and the tests against the module's type description.
/usr/lib/qt6/bin/qmllint -I build/quick/qml host/demo/demo.qml host/gallery/quick.qml tests/quick/*.qml

# The installed package: applications outside the tree find it (examples/custom-sink asks
# for the core only and checks that nothing of QtGui or QtWidgets comes along).
run_examples build

# The docs: the API reference without warnings, every code block an example excerpt.
cmake --build build --target docs
python3 scripts/check-docs.py

if [ "$sanitize" = 1 ]; then
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMORA_SANITIZE=ON \
    -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=OFF -DVELMORA_REQUIRE_M32_CHECK=ON
  cmake --build build-asan -j "$jobs"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  LSAN_OPTIONS=suppressions="$PWD/tests/lsan.supp" \
    ctest --test-dir build-asan --output-on-failure -j "$jobs"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  LSAN_OPTIONS=suppressions="$PWD/tests/lsan.supp" \
    run_examples build-asan -DCMAKE_BUILD_TYPE=Debug \
      -DCMAKE_CXX_FLAGS="-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"

  # The form reader, the instruments and the stream message decoder under libFuzzer (clang,
  # with the same sanitizers), for one minute each.
  ./scripts/fuzz.sh 60

  # The threaded host sources under ThreadSanitizer.
  cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELMORA_TSAN=ON \
    -DVELMORA_BUILD_TESTS=ON -DVELMORA_BUILD_BENCH=OFF -DVELMORA_BUILD_DESIGNER_PLUGIN=OFF
  cmake --build build-tsan -j "$jobs" --target test_host
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    ./build-tsan/tests/test_host --gtest_filter='ThreadBridge*:FilePlayer*'
fi
echo "All tests passed."
