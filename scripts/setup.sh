#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine (run as root): installs every package that the build, the
# tests, the benchmarks and the host need, then configures and builds into build/. Arguments are
# passed on to cmake's configuration (scripts/test.sh passes -DQNUNICODE_WERROR=ON).
set -euo pipefail
cd "$(dirname "$0")/.."
# The compiler cache sees paths relative to the checkout, so that every clone (CI's included)
# shares its entries.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true

packages=(
  cmake g++ clang libclang-rt-14-dev clang-format make pkg-config
  libssl-dev libgtest-dev libgmock-dev libbenchmark-dev
  libicu-dev libidn-dev libidn2-dev libplist-dev libuninameslist-dev
  libcli11-dev nlohmann-json3-dev
  unicode-data w3c-sgml-lib bzip2 perl-modules-5.36 python3
  unicode hyperfine time ccache
)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if ((${#missing[@]})); then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build build -j"$(nproc)"
