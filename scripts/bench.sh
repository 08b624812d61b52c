#!/usr/bin/env bash
# Builds the benchmarks in Release, runs the micro and the macro benchmarks and writes
# bench/RESULTS.md with the machine they ran on.
#
#   scripts/bench.sh            sizes 1,000, 5,000 and 20,000 points, end-to-end runs of
#                               zr-adjust on 1,000 (with inverse) and 10,000 points
#   scripts/bench.sh --quick    sizes 1,000 and 5,000, shorter micro runs
#   scripts/bench.sh --large    adds 50,000 and 100,000 points, and zr-adjust end to end on
#                               100,000 and 200,000 points (about a quarter of an hour)
#
# Sections of bench/RESULTS.md that this script does not write (a "## " heading of their own)
# are kept, after the ones it writes.
#
# Environment: BUILD_DIR (default build-bench, or build when only that exists), SIZES (a
# comma-separated list overriding the sizes), STEPS (adjustment steps timed per size, default 2),
# MIN_TIME (--benchmark_min_time of the micro benchmarks, seconds).
# The results are written only when every run succeeded.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
quick=false
large=false
for argument in "$@"; do
  case "$argument" in
    --quick) quick=true ;;
    --large) large=true ;;
    -h|--help) sed -n '2,18p' "$0"; exit 0 ;;
    *) echo "bench.sh: unknown option '$argument'" >&2; exit 2 ;;
  esac
done

if [ -z "${BUILD_DIR:-}" ]; then
  BUILD_DIR="$root/build-bench"
  if [ ! -d "$BUILD_DIR" ] && [ -d "$root/build" ]; then
    BUILD_DIR="$root/build"
  fi
fi
endToEnd="10000"
kernelNetworks="20000 50000"
if $quick; then
  sizes="${SIZES:-1000,5000}"
  minTime="${MIN_TIME:-0.05}"
  kernelNetworks="5000"
elif $large; then
  sizes="${SIZES:-1000,5000,20000,50000,100000}"
  minTime="${MIN_TIME:-0.5}"
  endToEnd="10000,100000,200000"
else
  sizes="${SIZES:-1000,5000,20000}"
  minTime="${MIN_TIME:-0.5}"
fi
loadAtStart="$(cut -d' ' -f1-3 /proc/loadavg)"
steps="${STEPS:-2}"

cmake -S "$root" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=Release -DZR_BUILD_BENCHMARKS=ON >/dev/null
cmake --build "$BUILD_DIR" -j"$(nproc)" \
  --target zr-network-gen zr-micro-bench zr-macro-bench compact_kernel_bench zr-adjust >/dev/null

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

echo "bench.sh: micro benchmarks (min time ${minTime} s)" >&2
"$BUILD_DIR/bench/zr-micro-bench" --benchmark_min_time="$minTime" >"$work/micro.txt"

echo "bench.sh: compact kernels on every path (networks of $kernelNetworks points)" >&2
# shellcheck disable=SC2086
"$BUILD_DIR/bench/compact_kernel_bench" 30000 $kernelNetworks >"$work/kernels.txt"

echo "bench.sh: macro benchmark (sizes $sizes, zr-adjust end to end on $endToEnd)" >&2
"$BUILD_DIR/bench/zr-macro-bench" --sizes "$sizes" --steps "$steps" \
  --zr-adjust "$BUILD_DIR/tools/zr-adjust/zr-adjust" --end-to-end-points "$endToEnd" \
  --workdir "$work" >"$work/macro.md"

compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$BUILD_DIR/CMakeCache.txt")"
{
  echo "# Benchmark results"
  echo
  echo "Written by scripts/bench.sh$($quick && echo ' --quick')$($large && echo ' --large');" \
    "rerun it to refresh this page."
  echo
  echo "| machine | |"
  echo "| --- | --- |"
  echo "| date | $(date -u '+%Y-%m-%d %H:%M UTC') |"
  echo "| CPU | $(lscpu | sed -n 's/^Model name: *//p' | head -n1) |"
  echo "| cores | $(nproc) available, $(lscpu | sed -n 's/^CPU(s): *//p' | head -n1) in the machine |"
  echo "| memory | $(awk '/^MemTotal:/ { printf "%.1f GiB", $2 / 1048576 }' /proc/meminfo) |"
  echo "| compiler | $("${compiler:-c++}" --version | head -n1) |"
  echo "| build | Release, -O2 -ffp-contract=off |"
  echo "| load average at the start | $loadAtStart |"
  echo "| load average at the end | $(cut -d' ' -f1-3 /proc/loadavg) |"
  echo "| BLAS of CHOLMOD | OpenBLAS $(dpkg-query -W -f='${Version}' libopenblas0-pthread 2>/dev/null || echo '?'), linked into the benchmark |"
  echo "| commit | $(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo 'none yet') |"
  echo
  echo "## Adjustment steps and solvers"
  echo
  echo "Timers are the library's own (milliseconds, per step, averaged over the timed steps);"
  echo "the peers run once each on the N and b of the last step. The profile is the number of"
  echo "slots of N's compact row storage, Σ (i − first(i) + 1)."
  echo
  cat "$work/macro.md"
  echo
  cat <<'TEXT'
### Reading the table

- Our solver is a profile (skyline) LDLᵀ on one core, in reverse Cuthill-McKee order of the
  point graph (the macro benchmark builds its model as a host does and orders it itself, much
  as zr-adjust does by default). Its cost grows with the profile, so the order decides
  everything: compare the two profile rows.
- The factorisation runs at the processor's vector width, chosen at run time (512-bit where
  the processor has AVX-512F/DQ/VL, else 256-bit, else a portable path), without fused
  multiply-adds; every path gives the plain loop's bits (see the next section).
- The peers reorder for fill themselves (AMD, nested dissection) and the supernodal ones use
  dense kernels. Each runs twice, with the threads named in its row (CHOLMOD's BLAS is
  OpenBLAS, PARDISO's team is OpenMP) and on one thread; Eigen's LDLᵀ has one thread only.
  A ratio below 1 means the peer is faster than our SolveCompact on the same N and b.
- The solutions of all solvers agree to the tolerance named above the table; ours is, in
  addition, the same bit for bit on every run and machine of this kind.
- The machine is shared: the load averages above say how busy it was. The wall times count the
  waiting for a core; the processor times in brackets (of the measuring thread, so given for
  one-thread runs only) count the work alone and are the fairer comparison on a busy machine.
  Runs with two threads suffer most when the other core is taken.
TEXT
  echo
  echo "## Plain versus blocked factorisation"
  echo
  echo "compact_kernel_bench: the plain row loop against COMPACT_FACTORIZE_2 on bands, the"
  echo "solve with several right-hand sides, the inverse, and the factorisation of generated"
  echo "networks' N (grid order) on every path this processor has, bits compared with plain."
  echo
  echo '```'
  cat "$work/kernels.txt"
  echo '```'
  echo
  echo "## Micro benchmarks"
  echo
  echo '```'
  cat "$work/micro.txt"
  echo '```'
  # Sections written by others, kept as they are.
  if [ -f "$root/bench/RESULTS.md" ]; then
    awk '/^## / { keep = ($0 != "## Adjustment steps and solvers" &&
                          $0 != "## Plain versus blocked factorisation" &&
                          $0 != "## Micro benchmarks") }
         keep' "$root/bench/RESULTS.md" | sed '1{/^$/!s/^/\n/}'
  fi
} >"$work/RESULTS.md"
cp "$work/RESULTS.md" "$root/bench/RESULTS.md"
echo "bench.sh: wrote $root/bench/RESULTS.md" >&2
