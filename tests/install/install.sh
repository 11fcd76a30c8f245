#!/usr/bin/env bash
# Is what is installed whole, and is korvel a good guest in another build? Installs a build, moves the prefix, builds hosts
# against it with CMake and with pkg-config, runs them and the installed tool; then has the same hosts build korvel along
# with themselves, and with an Eigen from elsewhere. Every folder has a space in its name. The guide to embedding shows the example as
# it stands, and links of installed documents lead somewhere.
#
# Usage: tests/install/install.sh BUILD
# Exit status: 0 if everything is found and works.
set -euo pipefail
build=$(realpath -- "$1")
cd "$(dirname "$0")/../.."
source=$PWD
work=$(mktemp -d "${TMPDIR:-/tmp}/korvel install XXXXXX")
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

# ---- What is installed ----------------------------------------------------------------------------------------------

holds "installs" cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/prefix"
prefix=$work/prefix
holds "the tool finds the installed module" grep -q "$prefix/lib.*/korvel/libkorvel.so" <("$prefix/bin/korvel-host" info)
listed() {
  local command commands
  commands=$("$prefix/bin/korvel-host" --help | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\) .*/\1/p')
  [ -n "$commands" ] || return 1
  for command in $commands; do
    zcat "$prefix"/share/man/man1/korvel-host.1.gz | grep -q "^.SS $command$" || return 1
  done
}
holds "the manual page names every command" listed
holds "bash finds the completion" test -f "$prefix/share/bash-completion/completions/korvel-host"
holds "the module keeps its promises" "$prefix/bin/korvel-host" validate
motions=$prefix/share/korvel/motions
holds "the installed motions stand on the installed soles" "$prefix/bin/korvel-host" run \
  "$motions"/{squat,wave,weight_shift,slow_step}.csv --soles "$motions/soles.csv" -o "$work" --require-feasible
if [ -e "$build/report.html" ]; then
  holds "a report is written" "$prefix/bin/korvel-host" report "$work/wave-results.csv" -o "$work/wave.html"
  mkdir "$work/recordings"
  holds "the installed recorder records" env KORVEL_RECORD_TO="$work/recordings" "$prefix/bin/korvel-host" run \
    "$motions/wave.csv" -o "$work/wave-recorded.csv" --module "$prefix"/lib*/korvel/libkorvel_record.so
  holds "a recording becomes results" "$prefix/bin/korvel-host" replay "$work"/recordings/* \
    --results "$work/wave-replayed.csv"
fi

python_finds_it() {
  PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$prefix/lib/python3/dist-packages env -u KORVEL_LIBRARY_PATH /usr/bin/python3 -c '
import sys, korvel
motion = korvel.Motion.read(sys.argv[1])
assert korvel.__file__.startswith(sys.argv[2]) and korvel.Batch().kinematics(motion.q).com.shape == (601, 3)' "$motions/squat.csv" "$prefix"
}
if /usr/bin/python3 -c 'import numpy' 2>"$work/log"; then
  holds "Python finds the installed package and its libraries" python_finds_it
fi

documents=$prefix/share/doc/korvel
links_lead_somewhere() {
  local document link count=0
  while IFS= read -r document; do
    while IFS= read -r link; do
      count=$((count + 1))
      [ -e "$(dirname "$document")/$link" ] || { echo "$document: nothing at $link" && return 1; }
    done < <(grep -o '](\([^)]*\))' "$document" | sed 's/^](\([^)#]*\).*)$/\1/' | grep -v -e '^$' -e '^[a-z]*://')
  done < <(find "$documents" -name '*.md')
  [ "$count" -gt 5 ]
}
holds "links of the documents lead somewhere" links_lead_somewhere
example=$documents/examples/minimal_host.cpp
shown_in_guide() { awk '/^```cpp$/ {inside = 1; next} /^```$/ && inside {exit} inside' docs/embedding.md | diff - "$example"; }
holds "the guide to embedding shows the example" shown_in_guide
holds "the example has at most 50 lines" test "$(wc -l <"$example")" -le 50

components() {
  local component
  for component in module batch development tool python; do
    cmake --install "$build" --prefix "$work/$component" --component "$component" || return 1
    (cd "$work/$component" && find . ! -type d) >>"$work/parts"
  done
  diff <(sort "$work/parts") <(cd "$prefix" && find . ! -type d | sort) &&
    [ -z "$(find "$work/module" -name '*.h')" ] && [ -e "$work/tool/bin/korvel-host" ]
}
holds "its components are the whole, each file in one" components

# ---- Hosts ----------------------------------------------------------------------------------------------------------

consumer() {  # DIRECTORY FROM OPTIONS OF CMAKE...
  cmake -S tests/install -B "$work/$1" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DKORVEL_FROM="$2" -DKORVEL_SOURCE="$source" \
    -DKORVEL_EXAMPLE="$example" "${@:3}" && cmake --build "$work/$1" && ctest --test-dir "$work/$1" --output-on-failure
}
holds "hosts build and run with CMake" consumer cmake package -DCMAKE_PREFIX_PATH="$prefix"
older_refused() {
  mkdir "$work/older"
  printf 'cmake_minimum_required(VERSION 3.21)\nproject(older LANGUAGES CXX)\nfind_package(korvel 0.0 REQUIRED)\n' \
    >"$work/older/CMakeLists.txt"
  ! cmake -S "$work/older" -B "$work/older" -DCMAKE_PREFIX_PATH="$prefix" >"$work/older.log" 2>&1 &&
    grep -q 'korvel-config.cmake, version: 0.1' "$work/older.log"
}
holds "hosts of an older minor version are refused" older_refused

make_hosts() {  # DIRECTORY PREFIX
  mkdir "$work/$1" &&
    PKG_CONFIG_PATH=$(dirname "$(find "$2" -name korvel.pc)") make -C "$work/$1" -f "$source/tests/install/Makefile" \
      EXAMPLE="$example" SOURCES="$source/tests/install" run
}
holds "hosts build and run with pkg-config" make_hosts make "$prefix"

# ---- As a guest -----------------------------------------------------------------------------------------------------

for from in add_subdirectory FetchContent; do
  holds "hosts build and run with $from" consumer "$from" "$from"
done
brings_nothing() {  # DIRECTORY
  cmake --install "$work/$1" --prefix "$work/$1/prefix" &&
    [ "$(cd "$work/$1/prefix" && find . -type f | sort | xargs)" = "./bin/minimal_host ./bin/pose" ] &&
    [ "$(ctest --test-dir "$work/$1" -N | grep -c 'Test *#')" -eq 2 ] &&
    [ -z "$(ctest --test-dir "$work/$1" --print-labels | grep '^  ')" ] &&
    grep -q '^CMAKE_BUILD_TYPE:.*=MinSizeRel$' "$work/$1/CMakeCache.txt" && ! grep -i '^CPACK' "$work/$1/CMakeCache.txt" &&
    [ -e "$work/$1/libraries/libkorvel.so" ]
}
for from in add_subdirectory FetchContent; do
  holds "with $from the host installs and tests only what is its own" brings_nothing "$from"
done
holds "the module built along keeps its promises" "$prefix/bin/korvel-host" validate "$work/add_subdirectory/libraries/libkorvel.so"

# ---- Eigen from elsewhere -------------------------------------------------------------------------------------------

# The library and its CMake package below a prefix of its own, and out of the compiler's sight otherwise.
eigen=$work/eigen
mkdir -p "$eigen/include" "$eigen/share/eigen3"
cp -r /usr/include/eigen3 "$eigen/include"
cp -r /usr/share/eigen3/cmake "$eigen/share/eigen3"
with_other_eigen() {
  cmake -S . -B "$work/other build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_PREFIX_PATH="$eigen" -DKORVEL_HOST=OFF \
    -DKORVEL_TESTS=OFF && cmake --build "$work/other build" &&
    cmake --install "$work/other build" --prefix "$work/other prefix" && ninja -C "$work/other build" -t deps >"$work/deps" &&
    grep -q "$(sed 's/ /./g' <<<"$eigen")" "$work/deps" && ! grep /usr/include/eigen3 "$work/deps"
}
holds "an Eigen from elsewhere is the one that is built with" with_other_eigen
holds "hosts find that Eigen with CMake" consumer "other cmake" package -DCMAKE_PREFIX_PATH="$work/other prefix"
holds "hosts find that Eigen with pkg-config" make_hosts "other make" "$work/other prefix"
holds "hosts use no other" test -z "$(ninja -C "$work/other cmake" -t deps | grep /usr/include/eigen3)"

echo "install: $passed of $passed hold"
