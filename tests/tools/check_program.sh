#!/bin/sh
# check_program.sh PROGRAM READELF STRIP [MOST_BYTES]: the program needs only the library and the C library, not the C++
# library, and it is small.
set -eu
program=$1 readelf=$2 strip=$3 most=${4-}
needed=$("$readelf" -d "$program" |
    sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v -e '^libc\.' -e '^libquill\.' -e '^ld' -e '^lib[a-z]*san\.' ||
    true)
[ -z "$needed" ] || { echo "needs more than the library and the C library: $needed"; exit 1; }
[ -n "$most" ] || exit 0
small=$(mktemp)
trap 'rm -f "$small"' EXIT
"$strip" -o "$small" "$program"
size=$(wc -c <"$small")
echo "$size bytes, stripped"
[ "$size" -lt "$most" ] || { echo "expected fewer than $most"; exit 1; }
"$readelf" -lW "$program" |
    awk '/GNU_STACK/ && /RWE/ { bad = 1 } /GNU_RELRO/ { relro = 1 } END { exit bad || !relro }' ||
    { echo "an executable stack, or no RELRO"; exit 1; }
