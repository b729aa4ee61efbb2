#!/usr/bin/env bash
# Installs a build into a directory of its own and uses it from there through the CMake package,
# shared and static; the native one through pkg-config too.
#   scripts/check_install.sh native|win32     (win32: inside Wine's environment)
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
area=$here/build/install-$1
prefix=$area/prefix
rm -rf "$area"
cmake --install "$here/build/$1" --prefix "$prefix" >/dev/null

toolchain=()
[ "$1" = win32 ] && toolchain=(-DCMAKE_TOOLCHAIN_FILE="$here/cmake/mingw-i686.cmake")
cmake -G Ninja -S "$here/tests/install" -B "$area/consumer" -DCMAKE_PREFIX_PATH="$prefix" "${toolchain[@]}"
cmake --build "$area/consumer"
cd "$area/consumer"
if [ "$1" = win32 ]; then
  cp "$prefix/bin/trevolan.dll" .
  wine consumer_shared.exe
  wine consumer_static.exe
  exit
fi
./consumer_shared
./consumer_static

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name trevolan.pc)")
cc -std=c99 -Wall -Wextra -Werror "$here/tests/install/consumer.c" -o consumer_pkg_config \
  $(pkg-config --cflags --libs trevolan)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir trevolan) ./consumer_pkg_config

# The installed tool finds the installed library by itself.
"$prefix/bin/trevolan" --version
