#!/usr/bin/env bash
# The whole test suite; any failure fails the run. Every tree treats warnings as errors.
#   build/           RelWithDebInfo, static library: everything, with ctest
#   build-shared/    Release, shared library: the host linked to it, with the host's tests
#   install test     build/ and build-shared/ installed and used by outside consumers
#   build-sanitize/  Debug with AddressSanitizer and UndefinedBehaviorSanitizer, with ctest
#   build-tsan/      ThreadSanitizer, only the threaded tests (the background Unihan read)
#   build-fuzz/      clang with libFuzzer: every fuzz target for a few seconds (scripts/fuzz.sh)
# The trees share the compiler cache, so a run after a small change rebuilds little.
set -euo pipefail
cd "$(dirname "$0")/.."
# The compiler cache sees paths relative to the checkout, so that every clone (CI's included)
# shares its entries.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true
jobs=$(nproc)

# Installs whatever is missing and builds build/ (a no-op on a machine already set up).
bash scripts/setup.sh -DQNUNICODE_WERROR=ON
ctest --test-dir build --output-on-failure -j"$jobs"

# Only what this tree tests: the shared library, the host and the host's tests.
cmake -S . -B build-shared -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON \
  -DQNUNICODE_WERROR=ON -DQNUNICODE_BUILD_BENCHMARKS=OFF
cmake --build build-shared -j"$jobs" --target qnu qnu_test
build-shared/tools/qnu/qnu_test

bash scripts/install-test.sh build
bash scripts/install-test.sh build-shared

cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DQNUNICODE_SANITIZE=ON \
  -DQNUNICODE_WERROR=ON -DQNUNICODE_BUILD_BENCHMARKS=OFF -DCMAKE_CXX_FLAGS=-O1
cmake --build build-sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-sanitize --output-on-failure -j"$jobs"

# Only the tests that start threads of their own.
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQNUNICODE_TSAN=ON \
  -DQNUNICODE_WERROR=ON -DQNUNICODE_BUILD_BENCHMARKS=OFF -DQNUNICODE_BUILD_TOOLS=OFF
cmake --build build-tsan -j"$jobs" --target qnunicode_unihan_test qnunicode_database_test
TSAN_OPTIONS=halt_on_error=1 build-tsan/qnunicode/qnunicode_unihan_test --gtest_filter='UnihanReading*'
TSAN_OPTIONS=halt_on_error=1 build-tsan/qnunicode/qnunicode_database_test \
  --gtest_filter='SharedDatabaseThreads*:UnicodeDataOnDemand*:CategoryTables.Synthetic*'

# Every fuzz target briefly; scripts/fuzz.sh long is the long run (docs/fuzzing.md).
FUZZ_SECONDS=${FUZZ_SECONDS:-10} bash scripts/fuzz.sh

# Every stage above stops the run at its first failure (set -e), so reaching here means all of
# them passed: the ctest runs, the shared tree's host tests, the two installs, the ThreadSanitizer
# runs and the fuzzing.
echo "test.sh: 8 passed, 0 failed"
