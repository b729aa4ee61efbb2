#!/usr/bin/env bash
# Builds and runs the C program of README.md, from its text, on a sample picture.
#   scripts/check_readme.sh native|windows     (windows: inside Wine's environment)
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
area=$here/build/readme-$1
rm -rf "$area"
mkdir -p "$area"
awk '/^```c$/ { on = 1; next } /^```/ { on = 0 } on' "$here/README.md" >"$area/crop.c"
lines=$(grep -c . "$area/crop.c")
[ "$lines" -ge 10 ] && [ "$lines" -le 25 ] || { echo "README.md: the program has $lines lines" >&2; exit 1; }
cp "$here/tests/data/chart_24.bmp" "$area/in.bmp"
cd "$area"
case $1 in
  native)
    cc -std=c99 -Wall -Wextra -Werror -I "$here/core" -I "$here/platform/posix" crop.c -o crop \
      -L "$here/build/native" -ltrevolan -Wl,-rpath,"$here/build/native"
    ./crop in.bmp out.bmp
    ;;
  windows)
    i686-w64-mingw32-gcc -std=c99 -Wall -Wextra -Werror -I "$here/core" crop.c -o crop.exe \
      "$here/build/win32/trevolan.dll.a"
    cp "$here/build/win32/trevolan.dll" .
    wine crop.exe in.bmp out.bmp
    ;;
esac
# The program cuts out the middle: half the width and half the height, same depth.
"$here/build/native/trevolan" info --json in.bmp out.bmp | python3 -c '
import json, sys
before, after = (f["pages"][0] for f in json.load(sys.stdin))
assert after["width"] == before["width"] // 2, after
assert after["height"] == before["height"] // 2, after
assert after["bits"] == before["bits"], after'
