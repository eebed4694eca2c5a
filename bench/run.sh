#!/usr/bin/env bash
# Builds the benchmarks (Release), runs each group in a process of its own and
# prints one table of ratios. Arguments go to every rkdd_bench run, such as
# --benchmark_repetitions=5. BUILD_DIR chooses the build tree (the bench
# preset's build-bench).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build-bench}

./setup default bench
cmake --preset bench -B "$build" >/dev/null
cmake --build "$build" --target rkdd_bench rkdd_bench_report rkdd_schemagen_tool >/dev/null

results="$build/bench/results"
rm -rf "$results"
mkdir -p "$results"

# Imports fork a child per measurement, so they share one process; the ten
# sites of Sites10 (and Threads) and the wide site of Fields255 fill a process
# of their own.
# Start runs this program anew for each of its measurements (15 each, fixed
# in the benchmark); Small looks names up in one small site.
# Repetitions of a group's benchmarks are run in a random order among each
# other, so that a slow spell of a shared machine falls on all of them alike.
for group in Import Memory SetCode Sites10 Peers10 Fields255 Threads Start Small Export Diff Doc; do
  echo "== $group" >&2
  "$build/bench/rkdd_bench" --benchmark_filter="^$group/" --benchmark_min_time=0.2 \
    --benchmark_repetitions=3 --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
    --benchmark_out="$results/$group.json" --benchmark_out_format=json "$@" >"$results/$group.txt" 2>&1 \
    || { cat "$results/$group.txt" >&2; exit 1; }
done

echo
"$build/bench/rkdd_bench_report" "$results"
