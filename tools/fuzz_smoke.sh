#!/bin/sh
# tools/fuzz_smoke.sh FOLDER SECONDS: runs every fuzz target of FOLDER for SECONDS each, on the inputs that make_seeds
# writes, as many at a time as there are processors.
set -eu
export samples="$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)/samples" seconds="$2"
printf '%s\0' "$1"/*_fuzz | xargs -0 -n 1 -P "$(nproc)" sh -euc '
  corpus=$(mktemp -d)
  trap "rm -rf \"$corpus\"" EXIT
  "${1%/*}/make_seeds" "$samples" "$corpus"
  echo "fuzz smoke: ${1##*/}, $seconds s"
  "$1" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=0 -verbosity=0 "$corpus"' smoke
