#!/bin/sh
# Do all builds of the module compute the same bits?
#
# Usage: tools/bits.sh [COMPILER...]        (default: g++ clang++)
#
# Builds the module with every compiler at -O0, -O2 and -O3, for the baseline instruction set and for this machine's
# (-march=native), in a temporary directory, and prints one line per build with the hash of all results for 10,000 states
# (tools/bits.cpp). The program that computes the hash is built once, by the first compiler.
# Exit status: 0 if all hashes are equal, 1 if not or if a build fails.
set -eu

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_root=$(mktemp -d)
trap 'rm -rf "$build_root"' EXIT
[ $# -gt 0 ] || set -- g++ clang++

configure() {  # DIRECTORY COMPILER FLAGS
  cmake -S "$source_dir" -B "$1" -DCMAKE_CXX_COMPILER="$2" -DCMAKE_CXX_FLAGS="$3" -DCMAKE_BUILD_TYPE=None \
    -DKORVEL_HOST=OFF >"$build_root/log" 2>&1
}

build() {  # DIRECTORY TARGET
  cmake --build "$1" --target "$2" >"$build_root/log" 2>&1
}

fail() {
  cat "$build_root/log" >&2
  exit 1
}

{ configure "$build_root/bits" "$1" "-O2 -DNDEBUG" && build "$build_root/bits" bits; } || fail

for compiler in "$@"; do
  for level in -O0 -O2 -O3; do
    for target in "" -march=native; do
      flags="$level -DNDEBUG $target"
      directory="$build_root/module"
      rm -rf "$directory"
      { configure "$directory" "$compiler" "$flags" && build "$directory" korvel; } || fail
      hash=$("$build_root/bits/bits" "$directory/libkorvel.so")
      echo "$hash" >>"$build_root/hashes"
      printf '%s  %-10s %s %s\n' "$hash" "$compiler" "$level" "${target:-baseline}"
    done
  done
done

distinct=$(sort -u "$build_root/hashes" | wc -l)
if [ "$distinct" -ne 1 ]; then
  echo "$distinct different results" >&2
  exit 1
fi
