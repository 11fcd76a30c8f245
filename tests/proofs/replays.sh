#!/usr/bin/env bash
# Do all builds of the module answer recorded hosts alike?
#
#   tests/proofs/replays.sh BUILD    records hosts on the module of a build, and replays them on it, on the one with a body
#                                    for each node, and on the one of clang++ without optimisation
#
# Ends with a line for each module. Exit status: 0 if no result differs.
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,/^set/s/^# \?//p' "$0" >&2 && exit 2; }
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$root/tools/install-packages" BUILD clang
cmake --build "$build" --target korvel korvel_per_body korvel_record korvel-host minimal_host recorded_host >&2
mkdir "$work/recordings"
"$root/tests/proofs/recordings.sh" "$build" "$work/recordings"
cmake -S "$root" -B "$work/clang" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-O0 -DCMAKE_BUILD_TYPE=None \
  -DKORVEL_HOST=OFF >/dev/null
cmake --build "$work/clang" --target korvel >&2

# MODULE NAME: a sum of the last lines, "N calls, N results compared: no difference" each.
replayed() {
  local folder status=0
  for folder in "$work/recordings"/*; do
    "$build/korvel-host" replay "$folder"/*.rec --module "$1" >"$work/log" || { status=1 && grep -A 3 First "$work/log"; }
    cat "$work/log" >>"$work/all"
  done
  awk -v module="$2" '/ results? compared: / { calls += $1; compared += $3; if ($6 != "no") different += $6 }
    END { printf "%s: %d calls, %d results compared, %d differ\n", module, calls, compared, different }' "$work/all"
  rm "$work/all"
  return "$status"
}

status=0
replayed "$build/libkorvel.so" "the same module" || status=1
replayed "$build/libkorvel_per_body.so" "one body per node" || status=1
replayed "$work/clang/libkorvel.so" "clang++ -O0" || status=1
exit "$status"
