#!/usr/bin/env bash
# Installs everything the build, the tests and the benchmarks need on Debian 12 (run as root).
# clang and its runtimes (libFuzzer, the sanitizers) build the fuzz target of scripts/fuzz.sh;
# The QML module needs Qt Quick and, for its tests, Qt Quick Test;
# doxygen builds the API reference and python3 runs the docs check (scripts/check-docs.py).
set -euo pipefail

packages=(
  build-essential cmake ninja-build g++-multilib pkg-config
  qt6-base-dev qt6-tools-dev qt6-l10n-tools libqt6opengl6-dev libgl-dev
  qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-layouts qml6-module-qtquick-controls
  qml6-module-qttest qml6-module-qtquick-window qml6-module-qtqml-workerscript
  libgtest-dev libgmock-dev libbenchmark-dev
  libfftw3-dev libkissfft-dev libliquid-dev
  clang libclang-rt-14-dev
  fonts-dejavu-core
  doxygen python3
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
