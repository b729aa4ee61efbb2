#!/usr/bin/env bash
# Installs the native build into a directory of its own and uses it from there: through the
# CMake package (shared and static) and through pkg-config.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
area=$here/build/install
rm -rf "$area"
cmake --install "$here/build/native" --prefix "$area/prefix" >/dev/null

cmake -G Ninja -S "$here/tests/install" -B "$area/consumer" -DCMAKE_PREFIX_PATH="$area/prefix"
cmake --build "$area/consumer"
"$area/consumer/consumer_shared"
"$area/consumer/consumer_static"

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$area/prefix" -name trevolan.pc)")
cc -std=c99 -Wall -Wextra -Werror "$here/tests/install/consumer.c" -o "$area/consumer_pkg_config" \
  $(pkg-config --cflags --libs trevolan)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir trevolan) "$area/consumer_pkg_config"

# The installed tool finds the installed library by itself.
"$area/prefix/bin/trevolan" --version
