#!/bin/sh
# check_width.sh SOURCE_DIR
# Lines of code, comments and guides fit the width that .editorconfig gives. Tables, and the files that .editorconfig
# excludes, need not fit.
set -eu
cd "$1"
width=$(sed -n 's/^max_line_length = \([0-9]*\)$/\1/p' .editorconfig)
without=$(sed -n '/^max_line_length = off/!{h;d;}; x; s/^\[{*//; s/}*\]$//; s/,/ /gp' .editorconfig)
export LC_ALL=C.UTF-8
set -f
find bench cmake docs/reference examples include scripts src tests tools -type f ! -name '*.md' ! -name '*.pyc' \
    $(printf ' ! -path %s' $without) -exec grep -nIE "^.{$((width + 1))}" {} + | grep . && exit 1
set +f
grep -nE "^[^|].{$width}" ./*.md docs/*.md && exit 1
exit 0
