#!/usr/bin/env bash
# Installs everything the build, the tests and the benchmarks need on Debian 12 (run as root).
# clang and its runtimes (libFuzzer, the sanitizers) build the fuzz target of scripts/fuzz.sh;
# Qt Multimedia builds the sound card source; PulseAudio gives its tests a server with a
# null sink to capture from (scripts/test.sh). The QML module needs Qt Quick and, for its
# tests, Qt Quick Test and qmllint. libzmq3-dev and cppzmq-dev carry the network streams (velmora_net);
# doxygen builds the API reference and python3 runs the docs check (scripts/check-docs.py);
# gcovr reports coverage (scripts/coverage.sh).
set -euo pipefail

packages=(
  build-essential cmake ninja-build g++-multilib pkg-config
  qt6-base-dev qt6-tools-dev qt6-l10n-tools libqt6opengl6-dev libgl-dev qt6-multimedia-dev
  qt6-declarative-dev qt6-declarative-dev-tools qml6-module-qtquick qml6-module-qtquick-layouts qml6-module-qtquick-controls
  qml6-module-qttest qml6-module-qtquick-window qml6-module-qtqml qml6-module-qtqml-workerscript
  pulseaudio pulseaudio-utils
  libgtest-dev libgmock-dev libbenchmark-dev
  libfftw3-dev libkissfft-dev libliquid-dev
  clang libclang-rt-14-dev
  fonts-dejavu-core
  libzmq3-dev cppzmq-dev
  doxygen python3 gcovr
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update
  apt-get install -y --no-install-recommends "${missing[@]}"
fi
