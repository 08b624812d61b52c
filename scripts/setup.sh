#!/usr/bin/env bash
# Installs everything the build, the tests, the fuzzer and the benchmarks need, from Debian's
# packages only. Idempotent: run it as often as you like; it skips what is already there.
# Must run as root (it edits the APT source list and installs packages).
set -euo pipefail

packages=(
  g++ make cmake pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libmkl-dev
  clang libclang-rt-14-dev
  libeigen3-dev libsuitesparse-dev libopenblas-dev
  python3
  # The HTML report's tests: an independent HTML5 parser, and a real browser that opens,
  # screenshots and prints the page.
  python3-html5lib chromium
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "setup.sh: missing packages (${missing[*]}); run this script as root" >&2
  exit 1
fi

# MKL lives in Debian's non-free component. Add it to every Debian source that lacks it,
# whether the machine uses the deb822 format or the classic one-line list.
if [ -f /etc/apt/sources.list.d/debian.sources ]; then
  sed -i -E '/^Components:/{/non-free( |$)/!s/$/ non-free/}' /etc/apt/sources.list.d/debian.sources
fi
if [ -f /etc/apt/sources.list ]; then
  sed -i -E '/^deb(-src)? .*debian/{/ non-free( |$)/!s/$/ non-free/}' /etc/apt/sources.list
fi

# MKL asks whether it should become the system's default BLAS/LAPACK; it should not.
echo 'libmkl-rt libmkl-rt/use-as-default-blas-lapack boolean false' | debconf-set-selections

export DEBIAN_FRONTEND=noninteractive
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}"
