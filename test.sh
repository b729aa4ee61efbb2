#!/usr/bin/env bash
# Builds everything and runs every test: natively, under the sanitizers, and as 32-bit
# Windows code under Wine. The last line tells how many passed, failed and were skipped.
#
#   ./test.sh                 everything
#   ./test.sh STAGE...        some of: native win32 asan package exports fuzz
#
# Tests under Wine mostly wait, so they run beside the stages that follow theirs; what they
# print comes at the end.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here" || exit 1
work=$here/build/test
# One file of results for what runs one after the other.
results=${TEST_RESULTS:-$work/results}
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
# which no printer can be opened. Nothing manages the windows of this display: a Wine that
# waits for a window manager's answer takes two seconds for every window that it hides.
new_prefix() {
  rm -rf "$here/build/wine"
  (use_wine && timeout 120 xvfb-run -a sh -c '
    wine reg add "HKCU\\Software\\Wine\\X11 Driver" /v Managed /d N /f && touch "$WINEPREFIX/ready"
    wineserver -w')
  [ -e "$here/build/wine/ready" ] && grep -q IniFileMapping "$here/build/wine/system.reg"
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
  wine_tests >"$work/wine-tests.log" 2>&1 &
  wine_lane=$!
}

wine_tests() {
  export TEST_RESULTS=$work/results-wine
  results=$TEST_RESULTS
  : >"$results"
  if ! have_wine; then
    skip "Windows tests" "32-bit Wine does not run here; see build/test/wine.log"
    return
  fi
  on_display "1280x1024x24" --under-wine
  on_display "1024x768x8" --under-wine-palette
}

wait_for_wine() {
  [ -n "$wine_lane" ] || return
  say "32-bit Windows tests under Wine"
  wait "$wine_lane"
  cat "$work/wine-tests.log"
  [ -s "$work/results-wine" ] || check "tests under Wine" false
}

# Runs a part of this script with a display of its own. A display that does not start leaves
# no results behind, and that counts as a failure.
on_display() { # size-and-depth part
  local before
  before=$(wc -l <"$results")
  (use_wine && xvfb-run -a -s "-screen 0 $1" "$here/test.sh" "$2")
  [ "$(wc -l <"$results")" -gt "$before" ] || check "display $1" false
}

# Wine's server leaves three seconds after its last program, and a program that starts in that
# moment loses its connection: ours waits a minute, unless it is told to leave.
keep_wine_server() { wineserver -p60; }

# Runs inside xvfb-run with a display whose colours are in a palette.
under_wine_palette() {
  keep_wine_server
  gtest_alone win32-palette wine "$here/build/win32/win32_tests.exe" --gtest_filter='palette*'
  wineserver -k
}

# Runs inside xvfb-run, with Wine's environment set.
under_wine() {
  local program windows
  keep_wine_server
  # Clipboard, focus and the Windows directory's source manager are there once. These tests
  # mostly wait for windows, so the others run beside them.
  gtest_alone win32-win32 wine "$here/build/win32/win32_tests.exe" --gtest_filter=-palette_display.* &
  windows=$!
  for program in interface unit; do
    gtest "win32-$program" wine "$here/build/win32/${program}_tests.exe"
  done
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
  wait "$windows"
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

# Every fuzz target runs its seeds and then new inputs: detection and BMP, through which every
# file goes, for fuzz_seconds, and beside it the others in turn for as long all together.
stage_fuzz() {
  build fuzz || return
  local others name bmp each
  mapfile -t others < <(basename -s _fuzz -a build/fuzz/*_fuzz | grep -vx bmp)
  each=$((fuzz_seconds / ${#others[@]}))
  [ "$each" -lt 1 ] && each=1
  say "fuzzing detection and BMP for $fuzz_seconds s, ${#others[@]} others for $each s each"
  fuzz bmp "$fuzz_seconds" &
  bmp=$!
  for name in "${others[@]}"; do fuzz "$name" "$each"; done
  wait "$bmp"
}

fuzz() { check "fuzz $1" scripts/fuzz_target.sh "build/fuzz/$1_fuzz" "$2"; } # name seconds

case "${1:-}" in
--under-wine) under_wine; exit ;;
--under-wine-palette) under_wine_palette; exit ;;
esac

scripts/setup.sh test || exit 1
rm -rf "$work"
mkdir -p "$work"
: >"$results"
wine_lane=
stages=("$@")
[ $# = 0 ] && stages=(native win32 asan package exports fuzz)
for stage in "${stages[@]}"; do
  declare -F "stage_$stage" >/dev/null || { echo "unknown stage: $stage" >&2; exit 2; }
done
for stage in "${stages[@]}"; do "stage_$stage"; done
wait_for_wine
say "result"
summary
