#!/bin/sh
# check_exports.sh NM LIBRARY SOURCE_DIR
# The shared object exports exactly what the public headers declare with QUILL_API, with the version that the version
# script gives. The functions that replace the C library's log client have no version.
set -eu
nm=$1 library=$2 source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$nm" -D --defined-only "$library" | grep -v ' A ' | sed 's/.* //' |
    grep -v -e '^__odr_asan' -e '^_init$' -e '^_fini$' |
    sort -u >"$work/exported"
sed -n 's/^\(QUILL_[0-9.]*\) {/\1/p; s/^    \([A-Za-z_0-9]*\);.*/\1/p' "$source/src/libquill.map" |
    awk '/^QUILL_[0-9]/ { node = $1; next } $1 !~ /^_Z/ { print $1 "@@" node }' >"$work/versioned"

# Declarations without their comments, one a line; the name comes before the parameters or the semicolon.
declared() {
    cat "$@" | tr '\n' ' ' | sed 's|/\*|\n<|g; s|\*/|\n>|g' | sed '/^</d; s/^>//' | tr '\n' ' ' |
        tr ';' '\n' | sed -n 's/.*QUILL_API \([^(]*\).*/\1/p' | sed "s,\[.*,,; s, *$,,; s,.*[ *],," |
        grep -v "^__attribute__$" | sort
}
declared "$source"/include/quill/*.h >"$work/declared"
declared "$source"/include/quill/syslog.h >"$work/stand_in"

[ "$(wc -l <"$work/declared")" -gt 100 ] || { echo "found only $(wc -l <"$work/declared") declarations"; exit 1; }
[ "$(wc -l <"$work/stand_in")" -gt 5 ] ||
    { echo "found only $(wc -l <"$work/stand_in") declarations of the system log"; exit 1; }
sort "$work/versioned" "$work/stand_in" >"$work/listed"
sed 's/@.*//' "$work/listed" | sort | diff -u "$work/declared" - ||
    { echo "public headers (-) and src/libquill.map (+) differ"; exit 1; }
diff -u "$work/listed" "$work/exported" || { echo "src/libquill.map (-) and $library (+) differ"; exit 1; }
echo "$(wc -l <"$work/exported") names"
