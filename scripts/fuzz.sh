#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ in build-fuzz/ (clang++, AddressSanitizer,
# UndefinedBehaviorSanitizer) and runs each of them; any crash, leak, timeout or sanitizer
# report fails the run, and the input that caused it is left in build-fuzz/fuzz-artifacts/.
#
#   scripts/fuzz.sh                 a short run: FUZZ_SECONDS (default 15) seconds per target
#   scripts/fuzz.sh long [SECONDS]  the long run: each target until 2 million executions or
#                                   SECONDS (default 900) have passed, whichever comes first
#   scripts/fuzz.sh long SECONDS TARGET...   the long run of some targets only
#
# Each target starts from its seeds in fuzz/corpus/<name>/ and keeps what it finds in
# build-fuzz/fuzz-corpus/<name>/ (not in the repository), so later runs go on from there. The
# last line of each target's log (executions, coverage "cov", features "ft") is printed at the
# end; the logs are in build-fuzz/fuzz-logs/.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
targets=(ucd_lines data_files escapes idna normalization codepoints)

mode=short
seconds=${FUZZ_SECONDS:-15}
runs=-1
if [[ ${1:-} == long ]]; then
  mode=long
  seconds=${2:-900}
  runs=2000000
  if [[ $# -gt 2 ]]; then targets=("${@:3}"); fi
elif [[ $# -gt 0 ]]; then
  echo "usage: $0 [long [SECONDS [TARGET...]]]" >&2
  exit 2
fi

cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DQNUNICODE_FUZZ=ON -DQNUNICODE_WERROR=ON -DQNUNICODE_BUILD_TESTS=OFF \
  -DQNUNICODE_BUILD_BENCHMARKS=OFF -DQNUNICODE_BUILD_TOOLS=OFF -DQNUNICODE_WITH_ICU=OFF >/dev/null
cmake --build build-fuzz -j"$jobs" --target qnunicode_fuzz_targets

mkdir -p build-fuzz/fuzz-artifacts build-fuzz/fuzz-logs
status=0
for name in "${targets[@]}"; do
  corpus=build-fuzz/fuzz-corpus/$name
  log=build-fuzz/fuzz-logs/$name.log
  mkdir -p "$corpus"
  echo "== fuzz_$name: $mode run, at most ${seconds}s"
  # -timeout: one input may take at most 10 s; -rss_limit_mb: at most 2 GB; -max_len: inputs up
  # to 64 KB, so that the data-file readers see files of many lines.
  if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "build-fuzz/fuzz/fuzz_$name" "$corpus" "fuzz/corpus/$name" -max_total_time="$seconds" \
    -runs="$runs" -timeout=10 -rss_limit_mb=2048 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="build-fuzz/fuzz-artifacts/$name-" >"$log" 2>&1; then
    echo "fuzz_$name FAILED (see $log):" >&2
    grep -E "ERROR|runtime error|what\(\)|Test unit written" "$log" | head -5 >&2 || true
    status=1
  fi
done

echo "== summary (executions, coverage, features per target)"
for name in "${targets[@]}"; do
  log=build-fuzz/fuzz-logs/$name.log
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  line=$(grep -E '^#[0-9]+' "$log" | tail -1 || true)
  cov=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<<"$line")
  ft=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<<"$line")
  printf '%-16s executions %-10s cov %-6s ft %s\n' "$name" "${execs:-?}" "${cov:-?}" "${ft:-?}"
done
exit $status
