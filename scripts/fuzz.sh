#!/usr/bin/env bash
# Fuzzes zr-adjust with libFuzzer for a bounded time: first the network reader, then the whole
# road (read, datum analysis, a few iterations, statistics, every report writer).
#
#   scripts/fuzz.sh [SECONDS]     default 120, split evenly between the two targets
#
# Builds the fuzzers with clang (address and undefined-behaviour sanitizers, the whole tree
# instrumented) in their own build directory, build-fuzz (or $FUZZ_BUILD_DIR), starts from the
# seed corpora in the tree and keeps what they learn in the build directory. Exits non-zero
# when a fuzzer finds a crash, a leak or a hang; the input that caused it is left in
# <build dir>/crashes/<target>/: add a reader finding to the regression cases in
# network_reader_test.cpp, a whole-road finding to tools/zr-adjust/program_fuzz_regressions/
# (program_fuzz_regression_test replays it).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-120}
case "$seconds" in
  ''|*[!0-9]*) echo "fuzz.sh: SECONDS must be a whole number, got '$seconds'" >&2; exit 2 ;;
esac
build_dir=${FUZZ_BUILD_DIR:-build-fuzz}

CC=clang CXX=clang++ cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZR_BUILD_FUZZERS=ON -DZR_BUILD_TESTS=OFF -DZR_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build_dir" --target network_reader_fuzzer program_fuzzer -j "$(nproc)"

# target name, binary, seed corpus in the tree, dictionary, seconds, and the extra libFuzzer
# options it needs. The whole road runs small inputs only (the target skips larger ones), each
# within a few milliseconds.
run() {
  local target=$1 binary=$2 seeds=$3 dict=$4 share=$5
  shift 5
  local corpus="$build_dir/fuzz_corpus/$target" crashes="$build_dir/crashes/$target"
  mkdir -p "$corpus" "$crashes"
  echo "== $target for $share s"
  # New inputs go to the first directory; the seed corpus in the tree stays as it is.
  "$binary" "$corpus" "$seeds" -dict="$dict" \
    -max_total_time="$share" -timeout=10 -print_final_stats=1 -artifact_prefix="$crashes/" "$@"
}

# The library keeps some arrays on its failure paths on purpose: the leak checker is told so.
# The sanitizer runtime is shared (the loadable library needs it), and libFuzzer's own
# libraries come before it in the load order.
export LSAN_OPTIONS="suppressions=$PWD/.ci/lsan.supp:print_suppressions=0"
export ASAN_OPTIONS="verify_asan_link_order=0${ASAN_OPTIONS:+:$ASAN_OPTIONS}"

first=$((seconds / 2))
run network_reader "$build_dir/tools/zr-adjust/network/network_reader_fuzzer" \
  tools/zr-adjust/fuzz_corpus tools/zr-adjust/network/network.dict "$first" -max_len=4096
run program "$build_dir/tools/zr-adjust/program_fuzzer" tools/zr-adjust/program_fuzz_corpus \
  tools/zr-adjust/program.dict \
  "$((seconds - first))" -max_len=2048 -rss_limit_mb=2048
echo "fuzz.sh: no crash in $seconds s"
