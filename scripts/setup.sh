#!/usr/bin/env bash
# Installs what building and testing need on Debian 12, and only what is missing.
#
#   scripts/setup.sh run     what ./run.sh needs: compiler, CMake, Ninja, CLI11
#   scripts/setup.sh test    that, and what ./test.sh needs: MinGW, Wine, peers to compare with
set -u

run_packages=(ninja-build cmake g++ libcli11-dev)
test_packages=(clang libclang-rt-dev clang-format llvm lld ccache pkg-config python3
  googletest libgtest-dev libgmock-dev libbenchmark-dev g++-mingw-w64-i686-posix
  libtiff-dev libtiff-tools libjpeg62-turbo-dev libjpeg-turbo-progs libgif-dev giflib-tools
  netpbm imagemagick libmagickwand-dev libleptonica-dev ghostscript graphicsmagick
  libwpg-tools)
# Windows programs and a display for them. Where these cannot be had the rest still works.
wine_packages=(wine wine32:i386 xvfb xauth)

say() { printf 'setup: %s\n' "$*"; }

# Those of the arguments that are not installed.
missing_of() {
  local package status
  for package in "$@"; do
    status=$(dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | head -n 1)
    [ "$status" = installed ] || printf '%s\n' "$package"
  done
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

update_lists() {
  [ -n "${lists_updated:-}" ] && return
  say "fetching the package lists"
  # One stale index of one architecture is no reason to stop: the installation tells whether
  # what is needed can be had.
  as_root apt-get update -q >"$log" 2>&1 || say "apt-get update reported errors; going on"
  lists_updated=yes
}

# Both architectures take matching versions only when the release is named.
install() {
  update_lists
  say "installing $*"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q -t "$release" \
    --allow-downgrades --no-install-recommends "$@" >"$log" 2>&1 && return
  tail -n 15 "$log" >&2
  return 1
}

profile=${1:-test}
case $profile in run | test) ;; *) echo "usage: scripts/setup.sh [run|test]" >&2; exit 2 ;; esac

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
  say "this system has no apt-get; the packages have to be there already: ${run_packages[*]}"
  exit 0
fi

wanted=("${run_packages[@]}")
[ "$profile" = test ] && wanted+=("${test_packages[@]}")
mapfile -t missing < <(missing_of "${wanted[@]}")
mapfile -t missing_wine < <([ "$profile" = test ] && missing_of "${wine_packages[@]}")
[ "${#missing[@]}" = 0 ] && [ "${#missing_wine[@]}" = 0 ] && exit 0

if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
  say "missing: ${missing[*]} ${missing_wine[*]}; run this as root, or install sudo" >&2
  exit 1
fi
release=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-bookworm}")
log=$(mktemp)
trap 'rm -f "$log"' EXIT

if [ "${#missing[@]}" != 0 ]; then
  install "${missing[@]}" || { say "could not install ${missing[*]}" >&2; exit 1; }
fi
if [ "${#missing_wine[@]}" != 0 ]; then
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    say "adding the architecture i386 for 32-bit Wine"
    as_root dpkg --add-architecture i386
    lists_updated=
  fi
  if ! install "${missing_wine[@]}"; then
    say "32-bit Wine could not be installed; Windows tests will be skipped" >&2
    exit 0
  fi
fi
say "done"
