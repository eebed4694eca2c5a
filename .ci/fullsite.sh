#!/usr/bin/env bash
# A generated full site (2048 data items, 1792 records of 255 members) through
# every command of a build's tool (default: build/), each under an address
# space bound of three times the peak resident size of `rkdd check` on the
# same files. A command that keeps a second copy of the site, or builds its
# whole output in memory before writing it, fails here. Prints each peak.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build}
tool=$build/tools/rkdd
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build"/testing/rkdd_schemagen 2048 1792 255 >"$work/full.schema"
full=$work/full.schema

# Peak resident size in KiB of one run; the run must end with status
# ${want:-0}.
peak() {
  local status=0
  /usr/bin/time -f %M -o "$work/peak" "$@" >/dev/null 2>"$work/err" || status=$?
  if [ "$status" -ne "${want:-0}" ]; then
    echo "!! failed with status $status: $*" >&2
    tail -n 5 "$work/err" >&2
    return 1
  fi
  tail -n 1 "$work/peak"
}

failed=0
run() { # FILES-FOR-CHECK -- COMMAND...
  local files=() args
  while [ "$1" != -- ]; do files+=("$1"); shift; done
  shift
  local base bound kib
  base=$(peak "$tool" check "${files[@]}")
  bound=$((3 * base * 1024))
  if kib=$(want=${expect:-0} peak prlimit --as="$bound" "$tool" "$@"); then
    local shown="rkdd $*"
    printf '%-48s %7d KiB, %d.%02d x check\n' "${shown//$work\//}" "$kib" $((kib / base)) $((kib * 100 / base % 100))
  else
    echo "!! rkdd $* does not run within 3 x check's $base KiB" >&2
    failed=1
  fi
}

run "$full" -- check "$full"
run "$full" -- show "$full"
run "$full" -- show --json "$full"
run "$full" -- layout "$full" s0R0
run "$full" -- header "$full" -o "$work/out.h"
# The generated enumerations that end their structures have widths no layout
# tells: export warns of them and ends with status 1.
expect=1 run "$full" -- export "$full" -o "$work/out.schema"
run "$full" -- doc "$full" -o "$work/pages"
run "$full" "$full" -- diff "$full" "$full"
exit "$failed"
