#!/usr/bin/env bash
# Links and runs a program against trevolan.lib the way Microsoft's compiler and linker do.
# Runs inside Wine's environment.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
area=$here/build/import-library
rm -rf "$area"
mkdir -p "$area"
cd "$area"
clang --target=i686-pc-windows-msvc -O1 -c "$here/tests/install/import_library.c" -o program.obj
lld-link /nologo /machine:x86 /subsystem:console /entry:start /nodefaultlib /out:program.exe \
  program.obj "$here/build/win32/trevolan.lib"
cp "$here/build/win32/trevolan.dll" .
code=0
wine program.exe || code=$?
[ "$code" = 42 ] || { echo "the program ended with $code and not with 42" >&2; exit 1; }
