#!/usr/bin/env bash
# The whole test suite: a normal build with ctest, then a second tree built with AddressSanitizer
# and UndefinedBehaviorSanitizer with ctest again. Any failure fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

# Installs whatever is missing and builds build/ (a no-op on a machine already set up).
bash scripts/setup.sh
ctest --test-dir build --output-on-failure -j"$jobs"

cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DQNUNICODE_SANITIZE=ON \
  -DQNUNICODE_BUILD_BENCHMARKS=OFF -DCMAKE_CXX_FLAGS=-O1
cmake --build build-sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-sanitize --output-on-failure -j"$jobs"
