#!/bin/sh
# check_lto.sh CMAKE BUILD_FOLDER SOURCE_DIR OBJDUMP [bitcode]
# A program is compiled and linked with -flto against the installed archive. The compiler then inlines the library's hot
# calls. The program prints the same as with the shared object, also for a broken contract. An archive with machine code
# is also linked without -flto. An archive of bitcode is built here first. CC and RUN are as for check_install.sh.
set -eu
cmake=$1 build=$2 source=$3 objdump=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
programs="plain inlined"
if [ "${5-}" = bitcode ]; then
    build=$work/build programs=inlined
    { "$cmake" -G Ninja -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUILL_LTO=ON -DCMAKE_C_COMPILER=clang \
        -DCMAKE_CXX_COMPILER=clang++ -DQUILL_TESTS=OFF -DQUILL_EXAMPLES=OFF -DQUILL_PROGRAM=OFF &&
        "$cmake" --build "$build"; } >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    grep -q "the archive is of bitcode" "$work/log" || { echo "the build does not say that it is bitcode"; exit 1; }
fi
"$cmake" --install "$build" --prefix "$work/stage" >"$work/log" || { cat "$work/log"; exit 1; }
. "$source/tests/package/installed.sh"
use_installed "$work/stage"
cd "$work"
# usage: build PROGRAM FLAG [static]
build() {
    link_installed "$CC -O2 $2" "$source/tests/package/consumer/hot_calls.c" "$1" "${3-}"
    $RUN "./$1" 1000 >"$1.out"
    ! $RUN "./$1" 2>"$1.report" || { echo "$1 goes on after a broken contract"; exit 1; }
    sed "s/$1/program/" "$1.report" >"$1.contract"
}
build shared -fno-lto
for program in $programs; do
    if [ $program = plain ]; then build plain -fno-lto static; else build inlined -flto static; fi
    diff shared.out $program.out && diff shared.contract $program.contract ||
        { echo "$program says something else"; exit 1; }
done
calls() { # lists the hot calls in main and in the parts that the compiler split off from main
    "$objdump" -d --no-show-raw-insn "$1" | sed -n '/^[0-9a-f]* <main/,/^$/s/.*<\([a-zA-Z_0-9]*\).*>$/\1/p' |
        grep -x -e sxdr_write_u32 -e ListGetR -e idx_table_index_alloc | sort -u
}
[ "$(calls shared | wc -l)" -eq 3 ] || { echo "without -flto, no calls are seen either: $(calls shared)"; exit 1; }
[ -z "$(calls inlined)" ] || { echo "still called: $(calls inlined)"; exit 1; }
echo "no call is left of $(calls shared | paste -sd ' ')"
