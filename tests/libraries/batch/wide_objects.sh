#!/usr/bin/env bash
# May the library run where a wider instruction set is missing? An object file that is compiled for one must not hold
# anything that the linker could take for the baseline's: every weak symbol in it names its number of lanes. Nor may it
# run anything when the library is loaded.
#
# Usage: wide_objects.sh LANES OBJECT...
set -euo pipefail
lanes=$1
shift
faults=0
for object in "$@"; do
  symbols=$(nm --defined-only "$object")
  [ -n "$symbols" ] || { echo "$object: no symbols" && exit 1; }
  # PackOf<16> is 6PackOfILi16E in a name as the linker sees it; a function template of the lanes begins with ILi16E.
  while read -r _ kind name; do
    case $kind:$name in
      # An address of the C++ runtime, and a call of it.
      V:DW.ref.__gxx_personality_v0 | W:__clang_call_terminate) ;;
      [WVuvw]:*) [[ $name == *Li${lanes}E* ]] || { echo "$object: $name has no lanes in its name" && faults=$((faults + 1)); } ;;
    esac
  done <<<"$symbols"
  if readelf -SW "$object" | grep -q '\.init_array\|\.ctors'; then
    echo "$object: runs something when it is loaded" && faults=$((faults + 1))
  fi
done
[ "$faults" -eq 0 ]
