#!/bin/sh
# gdb_test.sh TRANSCRIPT PROGRAM LIBRARIES [EMULATOR...]: compares what gdb prints of the program's objects with the
# transcript. gdb reads the process and its core file. For another machine, it reads the core file that the emulator
# writes.
set -u
transcript=$1 program=$2 libraries=$3
shift 3
gdb=gdb
[ $# -eq 0 ] || gdb="gdb-multiarch"
command -v $gdb >/dev/null || { echo "skipped: no $gdb"; exit 77; }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
sed -n 's/^+//p' "$transcript" >commands
# shellcheck disable=SC3045 # dash has it as well
ulimit -c 65536

# usage: look WHERE ARGUMENT... compares what gdb prints with the transcript, except for addresses
look() {
    where=$1
    shift
    timeout 60 $gdb -q -batch -nx -iex "add-auto-load-safe-path $libraries" -iex "set solib-search-path $libraries" \
        -ex 'set startup-with-shell off' "$@" -ex 'set trace-commands on' -x commands "$program" >got 2>errors </dev/null
    sed -n '/^+print/,$p' got | sed -E 's/0x[0-9a-f]{5,}/ADDRESS/g; s/(<[a-z_]+\+)[0-9]+>/\1N>/g' >printed
    diff "$transcript" printed && return
    cat errors
    echo "$where: gdb prints otherwise"
    exit 1
}

if [ $# -eq 0 ]; then
    $gdb -batch -nx -ex run true 2>/dev/null | grep -q 'exited normally' ||
        { echo "skipped: gdb cannot run programs here"; exit 77; }
    look process -ex run
    ! grep -q __asan_init "$program" || exit 0  # with AddressSanitizer, the core file would have terabytes
    $gdb -batch -nx -ex run -ex 'generate-core-file kept' "$program" >/dev/null 2>&1 </dev/null
    look core -ex 'core kept'
else
    root=$(echo "$*" | sed 's/.* -L //')
    "$@" "$program" >/dev/null 2>&1
    set -- qemu_*.core
    [ -f "$1" ] || { echo "skipped: the emulator writes no core file"; exit 77; }
    look core -iex "set sysroot $root" -ex "core $1"
fi
