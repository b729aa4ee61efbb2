#!/usr/bin/env bash
# Builds the command-line tool if needed and runs it with the given arguments.
# Without arguments it converts the sample pictures and says where the results lie.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$here/build/native
tool=$build/trevolan

# Quiet while all goes well: standard output belongs to the tool.
quietly() {
  local log=$here/build/run.log
  mkdir -p "$here/build"
  "$@" >"$log" 2>&1 || { tail -n 40 "$log" >&2; echo "run: building failed; all of it is in build/run.log" >&2; exit 1; }
}

"$here/scripts/setup.sh" run >&2
if [ ! -f "$build/build.ninja" ]; then
  echo "run: building the tool for the first time" >&2
  (cd "$here" && quietly cmake --preset native -DTREVOLAN_TESTS=OFF)
fi
quietly cmake --build "$build" --target trevolan_tool

[ $# -gt 0 ] && exec "$tool" "$@"

samples=$here/build/samples
rm -rf "$samples"
mkdir -p "$samples"
shopt -s nullglob
converted=0
for picture in "$here"/tests/data/*.{bmp,gif,tif,jpg,tga,pcx,dcx,wpg,wmf,eps,pct}; do
  name=$(basename "$picture")
  "$tool" convert "$picture" "$samples/${name%.*}-${name##*.}.bmp" && converted=$((converted + 1))
done
echo "$converted sample pictures converted from tests/data into build/samples"
"$tool" --help | head -n 3
