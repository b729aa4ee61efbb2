#!/usr/bin/env bash
# Compares what a build exports with core/exports.txt: exactly those names, undecorated.
#   scripts/check_exports.sh native|win32 [LIBRARY]
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
case $1 in
  native)
    wanted=$(awk '!/^#/ && NF && $2 != "windows" { print $1 }' "$here/core/exports.txt" | LC_ALL=C sort)
    found=$(nm -D --defined-only "${2:-$here/build/native/libtrevolan.so}" | awk '{ print $3 }' | LC_ALL=C sort)
    ;;
  win32)
    wanted=$(awk '!/^#/ && NF { print $1 }' "$here/core/exports.txt" | LC_ALL=C sort)
    found=$(i686-w64-mingw32-objdump -p "${2:-$here/build/win32/trevolan.dll}" |
      awk '/\[Ordinal\/Name Pointer\] Table/ { on = 1; next } on && /\[ *[0-9]+\]/ { print $NF } on && !NF { exit }' |
      LC_ALL=C sort)
    ;;
  *) echo "usage: check_exports.sh native|win32" >&2; exit 2 ;;
esac
[ -n "$found" ]
diff <(printf '%s\n' "$wanted") <(printf '%s\n' "$found") && exit 0
echo "core/exports.txt (<) and the $1 library (>) differ" >&2
exit 1
