#!/usr/bin/env bash
# Fuzzes the network reader of zr-adjust with libFuzzer for a bounded time.
#
#   scripts/fuzz.sh [SECONDS]     default 60
#
# Builds the fuzzer with clang (address and undefined-behaviour sanitizers) in its own build
# directory, build-fuzz (or $FUZZ_BUILD_DIR), starts from the seed corpus in
# tools/zr-adjust/fuzz_corpus and keeps what it learns in the build directory. Exits non-zero
# when the fuzzer finds a crash, a leak or a hang; the input that caused it is left in
# <build dir>/crashes/ (add it to the reader's regression cases in network_reader_test.cpp).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
case "$seconds" in
  ''|*[!0-9]*) echo "fuzz.sh: SECONDS must be a whole number, got '$seconds'" >&2; exit 2 ;;
esac
build_dir=${FUZZ_BUILD_DIR:-build-fuzz}

CC=clang CXX=clang++ cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZR_BUILD_FUZZERS=ON -DZR_BUILD_TESTS=OFF -DZR_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build_dir" --target network_reader_fuzzer -j "$(nproc)"

corpus="$build_dir/fuzz_corpus"
crashes="$build_dir/crashes"
mkdir -p "$corpus" "$crashes"
# New inputs go to the first directory; the seed corpus in the tree stays as it is.
"$build_dir/tools/zr-adjust/network/network_reader_fuzzer" "$corpus" tools/zr-adjust/fuzz_corpus \
  -dict=tools/zr-adjust/network/network.dict -max_total_time="$seconds" -max_len=4096 -timeout=10 \
  -print_final_stats=1 -artifact_prefix="$crashes/"
echo "fuzz.sh: no crash in $seconds s"
