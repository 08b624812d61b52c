#!/usr/bin/env bash
# Builds zr-adjust and adjusts the example monitoring network: the report goes to the terminal,
# the results as JSON, a plan with error ellipses as SVG and the report page to read and print
# (out/report.html) go to out/.
#
#   scripts/demo.sh                      examples/monitoring.net
#   scripts/demo.sh --example NAME [OPTIONS...]   examples/NAME.net (monitoring, traverse, ...)
#   scripts/demo.sh NETWORK-FILE [OPTIONS...]   another network, with zr-adjust options
#
# Installs what is missing first (scripts/setup.sh, with sudo when not run as root). Build
# directory: build/ (or $BUILD_DIR). Exits with zr-adjust's status: 0 converged, 1 iteration
# limit reached, 2 bad input.
set -euo pipefail

# A network given on the command line is found from the caller's directory; the examples lie
# in the repository.
repository=$(cd "$(dirname "$0")/.." && pwd)
if [ "${1:-}" = "--example" ]; then
  network=examples/${2:?--example needs a name, e.g. traverse}.net
  shift 2
elif [ $# -gt 0 ]; then
  case $1 in
    /*) network=$1 ;;
    *) network=$PWD/$1 ;;
  esac
  shift
else
  network=examples/monitoring.net
fi
cd "$repository"

if [ "$(id -u)" -eq 0 ]; then
  bash scripts/setup.sh
elif ! bash scripts/setup.sh 2>/dev/null; then
  sudo bash scripts/setup.sh
fi

build_dir=${BUILD_DIR:-build}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build_dir" --target zr-adjust -j "$(nproc)" >/dev/null

mkdir -p out
name=$(basename "$network" .net)
status=0
"$build_dir/tools/zr-adjust/zr-adjust" --json "out/$name.json" --svg "out/$name.svg" \
  --html out/report.html "$@" "$network" || status=$?
if [ "$status" -ne 2 ]; then
  echo
  echo "Results: out/$name.json, plan with error ellipses: out/$name.svg"
  echo "Report to read and print: out/report.html (open it in a browser; print with Ctrl+P)"
fi
exit "$status"
