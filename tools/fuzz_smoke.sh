#!/bin/sh
# tools/fuzz_smoke.sh FOLDER SECONDS: runs every fuzz target of FOLDER for SECONDS each, seeded with the samples.
set -eu
root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
for target in "$1"/*_fuzz; do
  corpus=$(mktemp -d)
  find "$root/samples" -type f -size -32k -exec cp {} "$corpus" \;
  echo "fuzz smoke: $(basename "$target"), $2 s"
  "$target" -max_total_time="$2" -rss_limit_mb=2048 -timeout=10 -print_final_stats=0 -verbosity=0 "$corpus"
  rm -rf "$corpus"
done
