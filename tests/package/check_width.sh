#!/bin/sh
# check_width.sh SOURCE_DIR
# Lines of C and C++, and comments of CMake, shell and Python, are no wider than .editorconfig says.
set -eu
cd "$1"
width=$(sed -n 's/^max_line_length = \([0-9]*\)$/\1/p' .editorconfig)
export LC_ALL=C.UTF-8
! grep -rnIE --exclude='*.md' --exclude-dir=corpus "^.{$((width + 1))}" \
    bench cmake examples include scripts src tests tools |
    grep -E '^[^:]*\.(c|h|cpp):|^[^:]*:[0-9]*: *#'
