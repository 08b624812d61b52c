#!/usr/bin/env bash
# Builds everything (Release) and runs every test. Installs what is missing first.
# Usage: scripts/test.sh            (build directory: build/, or $BUILD_DIR)
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" -eq 0 ]; then
  bash scripts/setup.sh
else
  sudo bash scripts/setup.sh
fi

build_dir=${BUILD_DIR:-build}
# The benchmarks are opt-in; built here so that their smoke tests run with the rest.
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DZR_BUILD_BENCHMARKS=ON "$@"
cmake --build "$build_dir" -j "$(nproc)"
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)"
