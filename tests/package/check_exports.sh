#!/bin/sh
# check_exports.sh NM LIBRARY SOURCE_DIR
# The shared object exports exactly what the public headers declare with QUILL_API, and the version script lists the same.
set -eu
nm=$1 library=$2 source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$nm" -D --defined-only "$library" | sed 's/.* //; s/@.*//' | grep -v -e '^__odr_asan' -e '^_init$' -e '^_fini$' |
    sort -u >"$work/exported"
sed -n '/global:/,/local:/s/^ *\([A-Za-z_0-9]*\);.*/\1/p' "$source/src/libquill.map" | sort >"$work/listed"
# Declarations without their comments, one a line; the name stands before the parameters or the semicolon.
cat "$source"/include/quill/*.h | tr '\n' ' ' | sed 's|/\*|\n<|g; s|\*/|\n>|g' | sed '/^</d; s/^>//' | tr '\n' ' ' |
    tr ';' '\n' | sed -n 's/.*QUILL_API \([^(]*\).*/\1/p' | sed "s,\[.*,,; s, *$,,; s,.*[ *],," | grep -v "^__attribute__$" | sort >"$work/declared"

[ "$(wc -l <"$work/declared")" -gt 100 ] || { echo "found only $(wc -l <"$work/declared") declarations"; exit 1; }
diff -u "$work/declared" "$work/listed" || { echo "public headers (-) and src/libquill.map (+) differ"; exit 1; }
diff -u "$work/declared" "$work/exported" || { echo "public headers (-) and $library (+) differ"; exit 1; }
echo "$(wc -l <"$work/exported") names"
