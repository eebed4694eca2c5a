#!/usr/bin/env bash
# Bounded fuzzing: builds the libFuzzer targets with clang and runs each for
# RKDD_FUZZ_SECONDS (60 by default) on a copy of its corpus. A crash, hang or
# sanitizer report fails the run; the log then shows the report and the
# input that caused it, in base64 and in hex.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${RKDD_FUZZ_SECONDS:-60}
jobs=$(nproc)
# Inputs of up to 8 KiB (the corpus's largest fit); one that takes more than
# a second per KiB of that is a failure, so slow shapes are found like crashes.
max_len=8192
timeout=$((max_len / 1024))

cmake --preset fuzz
cmake --build --preset fuzz -j "$jobs"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for target in reader import store roundtrip record; do
  dir="$work/$target"
  mkdir -p "$dir/corpus" "$dir/artifacts"
  cp fuzz/corpus/"$target"/* "$dir/corpus/"
  dict=()
  [ "$target" != store ] && [ "$target" != record ] && dict=(-dict=fuzz/schema.dict)
  echo "== fuzzing ${target}_fuzz for ${seconds}s"
  # Standard output carries the library's diagnostics only: closed.
  if build-fuzz/fuzz/"${target}"_fuzz "${dict[@]}" -max_total_time="$seconds" -max_len="$max_len" -timeout="$timeout" \
      -close_fd_mask=1 -print_final_stats=1 -artifact_prefix="$dir/artifacts/" \
      "$dir/corpus" >"$dir/log" 2>&1; then
    grep -E '^#[0-9]+.*DONE' "$dir/log" || true
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec)' "$dir/log" || true
  else
    failed=1
    echo "!! ${target}_fuzz failed; the end of its log:"
    tail -n 80 "$dir/log"
    for input in "$dir"/artifacts/*; do
      [ -f "$input" ] || continue
      echo "!! reproducer $(basename "$input") ($(stat -c %s "$input") bytes), base64:"
      base64 -w 76 "$input"
      echo "!! hex:"
      od -A x -t x1z -v "$input" | head -n 256
    done
  fi
done
exit "$failed"
