#!/usr/bin/env bash
# Records hosts on the module of a build: the validator, the example host, a run of each motion, and every operation from
# eight threads.
#
#   tests/proofs/recordings.sh BUILD FOLDER
set -euo pipefail
[ $# -eq 2 ] || { sed -n '2,/^set/s/^# \?//p' "$0" >&2 && exit 2; }
build=$(realpath "$1")
folder=$(realpath "$2")
motions=$(realpath "$(dirname "$0")/../../examples/motions")
module=$build/libkorvel_record.so
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

export KORVEL_RECORD_MODULE=$build/libkorvel.so
record() {  # NAME COMMAND...
  mkdir -p "$folder/$1"
  (cd "$work" && KORVEL_RECORD_TO=$folder/$1 "${@:2}" >"$work/log" 2>&1) || { cat "$work/log" >&2; exit 1; }
  echo "recorded $1: $(ls "$folder/$1" | wc -l) files, $(du -sm "$folder/$1" | cut -f1) MB"
}

record validator "$build/korvel-host" validate "$module" --only '^(loading|state|laws|real-time|faults|threads|floating-point)'
record example "$build/minimal_host" "$module"
for motion in "$motions"/*.csv; do
  [ "${motion##*/}" = soles.csv ] ||
    record "run-$(basename "$motion" .csv)" "$build/korvel-host" run "$motion" -o results.csv --module "$module"
done
record threads "$build/tests/recorder/recorded_host" "$module" operations 8
