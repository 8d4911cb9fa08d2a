#!/bin/sh
# check_reference.sh SOURCE_DIR VERSION
# Every exported name has a page that man finds. The HTML has a search index. Doxygen gives no warning.
set -eu
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$source/docs/reference/generate" "$work" "$2"
# The first page leads to every family and guide; prose has links to functions.
for page in "$source"/include/quill/*.h "$source"/docs/*.md; do
    case $page in */quill.h) continue ;; esac
    link=$(basename "$page" | sed 's/_/__/g; s/\.h$/_8h/; s/\.md$//; y/-/_/')
    grep -q "href=\"$link.html\"" "$work/html/index.html" || { echo "the first page does not lead to $page"; exit 1; }
done
grep -q 'Ownership' "$work/html/index.html" || { echo "the first page lacks the conventions"; exit 1; }
grep -q 'href="hash_8h.html#[^"]*">HashFind</a> returns' "$work/html/hash_8h.html" ||
    { echo "no links in prose"; exit 1; }
[ -s "$work/html/index.html" ] && [ -s "$work/html/search/all_0.js" ] || { echo "the HTML is not complete"; exit 1; }
command -v man >/dev/null || { echo "man is not installed: not asked"; exit 0; }
export MANPATH="$work/man" MANWIDTH=100 LC_ALL=C
mandb --quiet "$work/man"
[ -n "$(apropos --manpath="$work/man" -e radio_tpl_to_dbm_10x_power)" ] || { echo "apropos finds no function"; exit 1; }
for name in HashCreateExt sxdr_read_str2 syslog vmap_from_string radio_tpl_to_dbm_10x_power quill_hash quill_savl; do
    man 3quill $name >"$work/page" 2>"$work/errors" || { echo "man does not find $name"; cat "$work/errors"; exit 1; }
    sed -n '/^NAME/,/^SYNOPSIS/p' "$work/page" | grep -q "$name" || { echo "the page of $name is another"; exit 1; }
    [ ! -s "$work/errors" ] || { echo "man complains about $name:"; cat "$work/errors"; exit 1; }
done
