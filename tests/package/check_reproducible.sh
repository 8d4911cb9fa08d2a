#!/bin/sh
# check_reproducible.sh CMAKE SOURCE_DIR C_COMPILER CXX_COMPILER
# Two builds with the same SOURCE_DATE_EPOCH make identical shared objects. The builds run one after the other, in
# folders of different names.
set -eu
cmake=$1 source=$2 cc=$3 cxx=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

export SOURCE_DATE_EPOCH=1700000000 CCACHE_DISABLE=1
unset CFLAGS CXXFLAGS LDFLAGS # A packager's flags may add debugging information, which contains the folder

build() {
    "$cmake" -S "$source" -B "$work/$1" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DQUILL_TESTS=OFF -DQUILL_EXAMPLES=OFF >"$work/log" 2>&1 &&
        "$cmake" --build "$work/$1" --target quill -j"$(nproc)" >>"$work/log" 2>&1 ||
        { cat "$work/log"; exit 1; }
    cp "$(find "$work/$1" -name 'libquill.so.*[0-9]' -type f)" "$work/$1.so"
}

build first
build second-elsewhere
cmp "$work/first.so" "$work/second-elsewhere.so"
