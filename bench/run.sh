#!/usr/bin/env bash
# Runs every benchmark of the project: the figures against ICU (with ratios), the memory figures,
# and the whole-process timings of the host against Debian's `unicode` command.
# Usage: bash bench/run.sh [build directory, default build]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
cmake --build "$build" -j"$(nproc)" --target qnunicode_bench qnunicode_idna_bench \
  qnunicode_idna2008_bench qnunicode_memory \
  qnunicode_unihan_memory qnu

echo "== Figures against ICU (medians of 5 repetitions)"
"$build/bench/qnunicode_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_min_time=0.2

echo
echo "== Domain names against libidn (medians of 5 repetitions)"
"$build/bench/qnunicode_idna_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_min_time=0.2

echo
echo "== IDNA2008 against libidn2 and ICU (medians of 5 repetitions)"
"$build/bench/qnunicode_idna2008_bench" --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_min_time=0.2

echo
echo "== Memory"
"$build/bench/qnunicode_memory"
"$build/bench/qnunicode_unihan_memory"

qnu="$build/tools/qnu/qnu"
echo
echo "== Whole process: qnu against unicode (median of 30 runs)"
for pair in "inspect é|é" "inspect 丘|-v 丘" "search latin small letter e with|-r 'latin small letter e with' -m 0"; do
  ours="$qnu ${pair%%|*}"
  peer="unicode ${pair#*|}"
  hyperfine --warmup 3 --runs 30 --export-json /tmp/qnu-hyperfine.json -N "$ours" "$peer" >/dev/null 2>&1 ||
    hyperfine --warmup 3 --runs 30 --export-json /tmp/qnu-hyperfine.json "$ours" "$peer" >/dev/null
  python3 - "$ours" "$peer" <<'PY'
import json, sys
results = json.load(open("/tmp/qnu-hyperfine.json"))["results"]
ours, peer = results[0]["median"], results[1]["median"]
print(f"{sys.argv[1]:<48} {ours*1000:8.2f} ms   {sys.argv[2]:<48} {peer*1000:8.2f} ms   ratio {ours/peer:5.2f}")
PY
  ours_rss=$(/usr/bin/time -f %M bash -c "$ours >/dev/null" 2>&1 | tail -n 1)
  peer_rss=$(/usr/bin/time -f %M bash -c "$peer >/dev/null" 2>&1 | tail -n 1)
  echo "  peak RSS: qnu ${ours_rss} KiB, unicode ${peer_rss} KiB"
done
