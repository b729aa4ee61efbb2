#!/usr/bin/env bash
# Builds everything and runs every test: natively, under the sanitizers, and as 32-bit
# Windows code under Wine. The last line tells how many passed, failed and were skipped.
#
#   ./test.sh                 everything
#   ./test.sh STAGE...        some of: native asan win32 package exports fuzz
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here" || exit 1
work=$here/build/test
results=$work/results
fuzz_seconds=${FUZZ_SECONDS:-30}
. scripts/test_results.sh

# Configures and builds one preset; its output is shown only when it fails.
build() { # preset cmake-options...
  local preset=$1
  shift
  say "building $preset"
  check "build $preset" sh -c 'preset=$1; shift
    cmake --preset "$preset" "$@" && cmake --build --preset "$preset"' sh "$preset" "$@"
}

stage_native() {
  build native -DTREVOLAN_TESTS=ON -DTREVOLAN_INTEROP=ON -DTREVOLAN_WERROR=ON || return
  say "native tests"
  local program
  for program in interface unit fault interop tool; do
    [ -x "build/native/${program}_tests" ] && gtest "native-$program" "$here/build/native/${program}_tests"
  done
}

stage_asan() {
  build asan -DTREVOLAN_TESTS=ON -DTREVOLAN_WERROR=ON || return
  say "tests under the address and undefined-behaviour sanitizers, blocks moving"
  local program
  export TREVOLAN_MOVING_HEAP=1 UBSAN_OPTIONS=print_stacktrace=1
  for program in interface unit fault tool; do
    [ -x "build/asan/${program}_tests" ] && gtest "asan-$program" "$here/build/asan/${program}_tests"
  done
  unset TREVOLAN_MOVING_HEAP UBSAN_OPTIONS
}

# A Wine prefix of our own, with a home of its own: nothing of the user's is seen or left.
use_wine() {
  export WINEARCH=win32 WINEDEBUG=-all WINEPREFIX=$here/build/wine HOME=$here/build/wine-home
  export WINEDLLOVERRIDES="mscoree,mshtml="
  # In the C locale file names could have ASCII letters only.
  export LC_ALL=C.UTF-8
  mkdir -p "$HOME"
}

# Starts a new prefix, since printers and settings of earlier runs stay behind in one, and
# waits until Wine has written its registry: a server that ends early leaves an empty one, in
# which no printer can be opened.
new_prefix() {
  rm -rf "$here/build/wine"
  (use_wine && timeout 120 xvfb-run -a sh -c 'wine cmd /c exit 7; code=$?; wineserver -w; exit $code')
  [ $? = 7 ] && grep -q IniFileMapping "$here/build/wine/system.reg"
}

have_wine() {
  command -v wine >/dev/null && command -v xvfb-run >/dev/null || return 1
  local attempt
  for attempt in 1 2 3; do
    new_prefix >"$work/wine.log" 2>&1 && return
  done
  return 1
}

stage_win32() {
  build win32 -DTREVOLAN_TESTS=ON -DTREVOLAN_WERROR=ON || return
  if ! have_wine; then
    skip "Windows tests" "32-bit Wine does not run here; see build/test/wine.log"
    return
  fi
  say "32-bit Windows tests under Wine"
  on_display "1280x1024x24" --under-wine
  on_display "1024x768x8" --under-wine-palette
}

# Runs a part of this script with a display of its own. A display that does not start leaves
# no results behind, and that counts as a failure.
on_display() { # size-and-depth part
  local before
  before=$(wc -l <"$results")
  (use_wine && xvfb-run -a -s "-screen 0 $1" "$here/test.sh" "$2")
  [ "$(wc -l <"$results")" -gt "$before" ] || check "display $1" false
}

# Runs inside xvfb-run with a display whose colours are in a palette.
under_wine_palette() {
  gtest_alone win32-palette wine "$here/build/win32/win32_tests.exe" --gtest_filter='palette*'
  wineserver -k
}

# Runs inside xvfb-run, with Wine's environment set.
under_wine() {
  local program
  for program in interface unit; do
    gtest "win32-$program" wine "$here/build/win32/${program}_tests.exe"
  done
  # Clipboard, focus and the Windows directory's source manager are there once.
  gtest_alone win32-win32 wine "$here/build/win32/win32_tests.exe" --gtest_filter=-palette_display.*
  # The tool's driver is a native program; the tool that it drives is the Windows one.
  TREVOLAN_TOOL_COMMAND="wine $here/build/win32/trevolan.exe" gtest win32-tool "$here/build/native/tool_tests" \
    --gtest_filter=-tool_posix_test.*
  check "README program on Windows" scripts/check_readme.sh windows
  check "CMake package for Windows" scripts/check_install.sh win32
  if command -v lld-link >/dev/null && command -v clang >/dev/null; then
    check "trevolan.lib with a Microsoft-style linker" scripts/check_import_library.sh
  else
    skip "trevolan.lib with a Microsoft-style linker" "lld-link or clang is missing"
  fi
  wineserver -k
}

stage_package() {
  say "the installed package, the README's program"
  check "CMake package and pkg-config" scripts/check_install.sh native
  check "README program" scripts/check_readme.sh native
  check "programs in other languages" scripts/check_languages.sh
}

stage_exports() {
  say "exported names"
  check "exports of libtrevolan.so" scripts/check_exports.sh native
  check "exports of trevolan.dll" scripts/check_exports.sh win32
}

# Every fuzz target runs its seeds and then new inputs, two side by side, so that all of
# them together take about fuzz_seconds.
stage_fuzz() {
  build fuzz || return
  local targets=(build/fuzz/*_fuzz) jobs=2 target
  [ -x "${targets[0]}" ] || return
  local each=$((fuzz_seconds * jobs / ${#targets[@]}))
  [ "$each" -lt 1 ] && each=1
  say "fuzzing ${#targets[@]} targets for $each s each"
  for target in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n; done
    check "fuzz $(basename "$target")" scripts/fuzz_target.sh "$target" "$each" &
  done
  wait
}

case "${1:-}" in
--under-wine) under_wine; exit ;;
--under-wine-palette) under_wine_palette; exit ;;
esac

scripts/setup.sh test || exit 1
rm -rf "$work"
mkdir -p "$work"
: >"$results"
stages=("$@")
[ $# = 0 ] && stages=(native asan win32 package exports fuzz)
for stage in "${stages[@]}"; do
  declare -F "stage_$stage" >/dev/null || { echo "unknown stage: $stage" >&2; exit 2; }
done
for stage in "${stages[@]}"; do "stage_$stage"; done
say "result"
summary
