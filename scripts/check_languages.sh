#!/usr/bin/env bash
# Runs the Python program of docs/languages.md and compiles the C++ owner of a handle, from
# their text.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
area=$here/build/languages
rm -rf "$area"
mkdir -p "$area"
cd "$area"
# The indented text of a chapter, without its indentation.
sample() { awk -v name="## $1" '/^## / { on = $0 == name; next } on && /^(    |$)/' "$here/docs/languages.md" | sed 's/^    //'; }

sample Python >chart.py
ln -s "$here/build" "$here/tests" .
python3 chart.py
build/native/trevolan info chart.bmp | grep -q '61 x 47, 1 bit'

{ echo '#include "image.h"'; sample C++; } >owner.cpp
echo 'int main() { image none(-1); return none.handle == -1 ? 0 : 1; }' >>owner.cpp
g++ -Wall -Wextra -Werror -I "$here/core" -I "$here/platform/posix" owner.cpp -o owner \
  -L "$here/build/native" -ltrevolan -Wl,-rpath,"$here/build/native"
./owner
