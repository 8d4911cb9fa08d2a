#!/bin/sh
# check_abi.sh ABIDIFF LIBRARY SOURCE_DIR KEPT
# Programs that were built against the last release run with this library. No exported name is missing, and no function,
# variable or record that programs see has changed. New names are allowed.
set -u
abidiff=$1 library=$2 source=$3 kept=$4
now=$(mktemp)
trap 'rm -f "$now"' EXIT
sh "$(dirname "$0")/write_abi.sh" "$library" "$source" >"$now" || exit 1
"$abidiff" --no-added-syms "$kept" "$now"
result=$?
[ $((result & 3)) = 0 ] || { echo "abidiff could not tell"; exit 1; }
[ "$result" = 0 ] && { echo "compatible with the last release"; exit 0; }
cat <<'END'

The report above says what programs built against the last release would find otherwise: a removed name they would not
start with, a changed parameter or record they would read wrongly.

  Not meant   make it as it was. A record that programs only get from the library may grow at its end; a function that
              has to change gets a new name beside the old one, in a new node of src/libquill.map.
  Meant       this is a new major version: raise the first number of the version in CMakeLists.txt, by which the soname
              changes too, say so in CHANGELOG.md, and keep the new interface with scripts/keep-abi.
  Harmless    (a field that was reserved, a name of a parameter) keep it with scripts/keep-abi, and say why it is
              harmless in the commit's message.
END
exit 1
