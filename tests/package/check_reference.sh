#!/bin/sh
# check_reference.sh SOURCE_DIR VERSION
# Every exported name has a page, which man finds, and the HTML has an index to search by. Doxygen warns of nothing.
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$source/docs/reference/generate" "$work" "$2"
[ -s "$work/html/index.html" ] && [ -s "$work/html/search/all_0.js" ] || { echo "the HTML is not complete"; exit 1; }
command -v man >/dev/null || { echo "man is not installed: not asked"; exit 0; }
export MANPATH="$work/man" MANWIDTH=100
for name in HashCreateExt sxdr_read_str2 syslog vmap_from_string; do
    man 3quill $name >"$work/page" 2>"$work/errors" || { echo "man does not find $name"; cat "$work/errors"; exit 1; }
    grep -q "$name" "$work/page" || { echo "the page of $name is another"; exit 1; }
    [ ! -s "$work/errors" ] || { echo "man complains about $name:"; cat "$work/errors"; exit 1; }
done
