#!/bin/sh
# Hosts that are compiled otherwise than the module get the same bits, also from a mock of theirs that overrides the
# operations, or the interface header refuses them.
#
# Usage: tests/foreign/hosts.sh MODULE
# Takes those of g++ and clang++ that are installed. A host whose instructions this machine lacks is compiled, not run.
# Exit status: 0 if every host passes.
set -u
module=$1
cd "$(dirname "$0")/../.." || exit 1
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT

compile() {  # COMPILER FLAGS...
  compiler=$1
  shift
  "$compiler" -std=c++17 "$@" -I. -Imodule -isystem /usr/include/eigen3 tests/foreign/host.cpp -ldl
}

same_bits() {  # INSTRUCTIONS HEAP_CHECK COMPILER FLAGS...
  instructions=$1 heap_check=$2
  shift 2
  host=$(mktemp "$build/host.XXXXXX")
  verdict=FAILED
  if compile "$@" -o "$host"; then
    if ! grep -qw "$instructions" /proc/cpuinfo; then
      verdict="compiled, not run"
    elif env $heap_check "$host" "$module" >"$host.bits" && cmp "$host.bits" "$build/expected.bits" &&
      env $heap_check "$host" "$module" --mock >"$host.bits" && cmp "$host.bits" "$build/expected.bits"; then
      verdict="same bits"
    fi
  fi
  echo "$verdict: $*"
}

refused() {  # COMPILER FLAG...
  verdict=FAILED
  compile "$@" -fsyntax-only 2>&1 | grep -q "error: .*korvel: " && verdict=refused
  echo "$verdict: $*"
}

hosts() {  # COMPILER
  glibc="LD_PRELOAD=libc_malloc_debug.so.0 MALLOC_CHECK_=3 MALLOC_PERTURB_=165"
  same_bits sse2 "$glibc" "$1" -O2
  same_bits avx2 "$glibc" "$1" -O3 -mavx2 -mfma
  same_bits avx512f "$glibc" "$1" -O2 -mavx512f -mfma
  same_bits sse2 "$glibc" "$1" -O0 -march=native
  same_bits avx "" "$1" -O1 -mavx -fsanitize=address
  refused "$1" -std=c++14
  refused "$1" -I"$build/other"
  refused "$1" -mavx -DEIGEN_MALLOC_ALREADY_ALIGNED=1
  for definition in _GLIBCXX_DEBUG _GLIBCXX_USE_CXX11_ABI=0 EIGEN_DEFAULT_TO_ROW_MAJOR EIGEN_DEFAULT_DENSE_INDEX_TYPE=int; do
    refused "$1" -D$definition
  done
}

mkdir -p "$build/other/Eigen"
cat >"$build/other/Eigen/Core" <<'END'
#include_next <Eigen/Core>
#undef EIGEN_MAJOR_VERSION
#define EIGEN_MAJOR_VERSION 3
END

# By the module's own settings of Eigen.
compile g++ -DEIGEN_DONT_VECTORIZE -o "$build/expected" && "$build/expected" "$module" >"$build/expected.bits" || exit 1
for compiler in g++ clang++; do
  command -v $compiler >/dev/null && hosts $compiler >"$build/$compiler.verdicts" &
done
command -v i686-linux-gnu-g++ >/dev/null && refused i686-linux-gnu-g++ -O0 >"$build/32-bit.verdicts"
wait
cat "$build"/*.verdicts
all=$(cat "$build"/*.verdicts | wc -l)
passed=$(grep -hv '^FAILED' "$build"/*.verdicts | wc -l)
not_run=$(cat "$build"/*.verdicts | grep -c "^compiled, not run")
echo "foreign hosts $passed of $all: same bits or refused, $not_run of them only compiled"
[ "$passed" -eq "$all" ]
