#!/usr/bin/env bash
# Runs every benchmark of kelo_bench once (a very short minimum time) and checks what it wrote:
# no row failed, and every transition the manifest lists has per-frame rows at both frame sizes
# that carry the ratio to the reference pass. Catches a benchmark program that no longer starts
# or finds no modules, a row that errors, and a transition added without a benchmark.
# The FFmpeg xfade rows are left out: they run the ffmpeg program for seconds (bench/compare.sh
# measures xfade properly).
#
# Usage: bench/smoke.sh BENCH_PROGRAM MANIFEST
set -euo pipefail

if [ $# -ne 2 ]; then
  echo "usage: $0 BENCH_PROGRAM MANIFEST" >&2
  exit 2
fi
bench=$1
manifest=$2
command -v jq >/dev/null || { echo "smoke: jq is missing (make deps)" >&2; exit 1; }
[ -r "$manifest" ] || { echo "smoke: no manifest $manifest" >&2; exit 1; }

out=$(mktemp "${TMPDIR:-/tmp}/kelo-bench-smoke.XXXXXX.json")
trap 'rm -f "$out"' EXIT

start=$(date +%s)
"$bench" --benchmark_min_time=0.0001 --benchmark_filter=-Xfade \
  --benchmark_out="$out" --benchmark_out_format=json >/dev/null
echo "smoke: ran $(jq '.benchmarks | length' "$out") benchmarks in $(($(date +%s) - start)) s"

failures=0
fail() {
  echo "smoke: FAILED: $*" >&2
  failures=$((failures + 1))
}

errors=$(jq -r '.benchmarks[] | select(.error_occurred == true) | "\(.name): \(.error_message)"' "$out")
[ -z "$errors" ] || fail "rows with errors:"$'\n'"$errors"

# The manifest: component, module, kind (tab-separated). A transition's rows are named after the
# component without "Transition": "PushTransition" -> "Push/24bit/1920x1080/...",
# "CounterBandsTransition" -> "CounterBands/push/3/24bit/1920x1080" (Google Benchmark appends
# the arguments: ".../1920x1080/1920/1080/24/manual_time").
transitions=$(awk -F'\t' '$3 == "KeloSlideTransition" { sub(/Transition$/, "", $1); print $1 }' \
  "$manifest")
[ -n "$transitions" ] || fail "the manifest lists no transitions"
checked=0
for name in $transitions; do
  for size in 1920x1080 3840x2160; do
    rows=$(jq --arg name "$name" --arg size "$size" '[.benchmarks[]
        | select((.name | startswith($name + "/")) and (.name | contains("/" + $size + "/")))
        | select(.x_reference != null and .x_reference > 0 and .real_time > 0)] | length' "$out")
    if [ "$rows" -eq 0 ]; then
      fail "$name has no row at $size with x_reference"
    fi
    checked=$((checked + 1))
  done
done
echo "smoke: $checked transition rows checked ($(wc -w <<<"$transitions") transitions)"

[ "$failures" -eq 0 ] || exit 1
echo "smoke: all benchmark rows ran"
