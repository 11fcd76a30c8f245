#!/usr/bin/env bash
# Do all builds of the module compute the same bits?
#
#   tests/proofs/bits.sh            g++ 11 and 12, clang++ 14, 16 and 19, each at -O0 -O1 -O2 -O3 -Os, for the baseline
#                            instruction set and for this machine's; 64-bit ARM (emulated) and 32-bit x86, same levels
#   tests/proofs/bits.sh --quick    five builds
#
# Installs what is missing, builds in a temporary directory, and prints a line per build that begins with the hash of
# all results for 10,100 states (tests/proofs/bits.cpp). The hash to expect is in contract/bits.expected; a change of the core
# that changes results on purpose writes the new one there.
# Exit status: 0 if every build has the expected hash, 1 if not, or if a package or a build fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
expected=$(<"$root/contract/bits.expected")
machine=$(uname -m)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# How programs of another architecture run.
declare -A runner=([aarch64]="qemu-aarch64 -L /usr/aarch64-linux-gnu"
                   [i686]="/usr/i686-linux-gnu/lib/ld-linux.so.2 --library-path /usr/i686-linux-gnu/lib")
runner[$machine]=""
packages=(g++ cmake ninja-build libeigen3-dev libboost-dev)

cells=()  # ARCHITECTURE COMPILER FLAGS
if [ "${1-}" = --quick ]; then
  "$root/tools/install-packages" "${packages[@]}" clang
  cells+=("$machine g++ -O3" "$machine g++ -O0" "$machine clang++ -O3" "$machine clang++ -O2 -march=native")
  if "$root/tools/install-packages" g++-aarch64-linux-gnu qemu-user; then
    cells+=("aarch64 aarch64-linux-gnu-g++ -O2")
  else
    echo "64-bit ARM cannot be built for or emulated here; g++ -Os takes its place"
    cells+=("$machine g++ -Os")
  fi
elif [ $# -eq 0 ]; then
  "$root/tools/install-packages" "${packages[@]}" g++-11 g++-12 clang-14 clang-16 clang-19 g++-aarch64-linux-gnu \
    g++-i686-linux-gnu qemu-user
  for level in -O0 -O1 -O2 -O3 -Os; do
    for compiler in g++-11 g++-12 clang++-14 clang++-16 clang++-19; do
      cells+=("$machine $compiler $level" "$machine $compiler $level -march=native")
    done
    cells+=("aarch64 aarch64-linux-gnu-g++ $level" "i686 i686-linux-gnu-g++ $level")
  done
else
  sed -n '2,/^set/s/^# \?//p' "$0" >&2
  exit 1
fi

build() {  # DIRECTORY TARGET ARCHITECTURE COMPILER FLAGS
  local cross=() flags="$5 -DNDEBUG"
  [ "$3" = "$machine" ] || cross=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$3")
  [ "$3" != i686 ] || flags+=" -DKORVEL_ALLOW_32_BIT"
  cmake -S "$root" -B "$1" -G Ninja "${cross[@]}" -DCMAKE_CXX_COMPILER="$4" -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_BUILD_TYPE=None -DKORVEL_WERROR=ON -DKORVEL_HOST=OFF >"$1.log" 2>&1 && cmake --build "$1" --target "$2" >>"$1.log" 2>&1
}

cell() {  # NUMBER ARCHITECTURE COMPILER FLAGS
  local module="$work/module$1" hash verdict=
  if ! build "$module" korvel "$2" "$3" "$4"; then
    cat "$module.log" >&2
    hash="failed to build"
  elif ! hash=$(${runner[$2]} "$work/$2/bits" "$module/libkorvel.so"); then
    hash="failed to run"
  fi
  rm -rf "$module"
  [ "$hash" = "$expected" ] || verdict="  expected $expected"
  printf '%-16s  %-7s  %-21s  %s\n' "$hash" "$2" "$3" "$4$verdict" | tee -a "$work/results"
}

# One program for each architecture.
for line in "${cells[@]}"; do
  read -r architecture compiler flags <<<"$line"
  [ ! -d "$work/$architecture" ] || continue
  build "$work/$architecture" bits "$architecture" "$compiler" -O1 || { cat "$work/$architecture.log" >&2; exit 1; }
done

started=0
for line in "${cells[@]}"; do
  [ "$started" -lt "$(nproc)" ] || wait -n
  started=$((started + 1))
  read -r architecture compiler flags <<<"$line"
  cell "$started" "$architecture" "$compiler" "$flags" &
done
wait

same=$(grep -c "^$expected " "$work/results" || true)
echo "same bits: $same of ${#cells[@]} builds"
[ "$same" -eq "${#cells[@]}" ]
