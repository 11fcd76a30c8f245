#!/usr/bin/env bash
# Is what is installed whole? Installs a build, moves the prefix, builds hosts against it with CMake and with pkg-config,
# runs them and the installed tool. The README shows the example as it stands.
#
# Usage: tests/install/install.sh BUILD
# Exit status: 0 if everything is found and works.
set -euo pipefail
build=$(realpath -- "$1")
cd "$(dirname "$0")/../.."
source=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
holds() {  # WORDS COMMAND...
  if "${@:2}" >"$work/log" 2>&1; then
    passed=$((passed + 1))
    echo "holds: $1"
  else
    cat "$work/log" >&2
    echo "FAILED: $1" >&2
    exit 1
  fi
}

holds "installs" cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/prefix"
prefix=$work/prefix
holds "the tool finds the installed module" grep -q "$prefix/lib.*/korvel/libkorvel.so" <("$prefix/bin/korvel-host" run --help)
listed() {
  local command commands
  commands=$("$prefix/bin/korvel-host" --help | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\) .*/\1/p')
  [ -n "$commands" ] || return 1
  for command in $commands; do
    zcat "$prefix"/share/man/man1/korvel-host.1.gz | grep -q "^.B $command$" || return 1
  done
}
holds "the manual page names every command" listed
holds "the module keeps its promises" "$prefix/bin/korvel-host" validate
holds "the installed motions run" "$prefix/bin/korvel-host" run "$prefix"/share/korvel/motions/*.csv -o "$work"
if [ -e "$build/report.html" ]; then
  holds "a report is written" "$prefix/bin/korvel-host" report "$work/wave-results.csv" -o "$work/wave.html"
fi

example=$prefix/share/doc/korvel/minimal_host.cpp
holds "CMake finds the package" cmake -S tests/install -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DKORVEL_EXAMPLE="$example"
older_refused() {
  mkdir "$work/older"
  printf 'cmake_minimum_required(VERSION 3.21)\nproject(older LANGUAGES CXX)\nfind_package(korvel 0.0 REQUIRED)\n' \
    >"$work/older/CMakeLists.txt"
  ! cmake -S "$work/older" -B "$work/older" -DCMAKE_PREFIX_PATH="$prefix" >"$work/older.log" 2>&1 &&
    grep -q 'korvel-config.cmake, version: 0.1' "$work/older.log"
}
holds "hosts of an older minor version are refused" older_refused
holds "hosts build and run with CMake" cmake --build "$work/cmake" --target run
grep torque "$work/log"

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name korvel.pc)")
mkdir "$work/make"
holds "hosts build and run with pkg-config" make -C "$work/make" -f "$source/tests/install/Makefile" EXAMPLE="$example" SOURCES="$source/tests/install" run

shown_in_readme() { awk '/^```cpp$/ {inside = 1; next} /^```$/ {inside = 0} inside' README.md | diff - "$example"; }
holds "the README shows the example" shown_in_readme
holds "the example has at most 50 lines" test "$(wc -l <"$example")" -le 50

echo "install: $passed of $passed hold"
