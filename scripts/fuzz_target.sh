#!/usr/bin/env bash
# Runs one fuzz target: its seeds, then new inputs for some seconds.
#   scripts/fuzz_target.sh build/fuzz/NAME_fuzz SECONDS
# Inputs that fail are kept in build/fuzz/found.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
target=$(realpath "$1")
name=$(basename "$target")
seeds=$here/fuzz/corpus/$name
grown=$here/build/fuzz/corpus/$name
found=$here/build/fuzz/found
mkdir -p "$grown" "$found"
cd "$grown"
directories=("$grown")
[ -d "$seeds" ] && directories+=("$seeds")
exec "$target" -max_total_time="$2" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
  -print_final_stats=1 -artifact_prefix="$found/$name-" "${directories[@]}"
