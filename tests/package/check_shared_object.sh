#!/bin/sh
# check_shared_object.sh READELF SHARED STATIC [PROCESSOR]
# The library needs only the C library and runs no code at load. If a processor is given, the library is a release build
# and must be hardened.
set -eu
readelf=$1 shared=$2 static=$3 processor=${4-}

fail() { echo "$1"; exit 1; }

dynamic=$("$readelf" -dW "$shared")
needed=$(printf '%s\n' "$dynamic" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
case $needed in
    libc.so | libc.so.6) ;;
    *) fail "needs: $needed" ;;
esac
printf '%s\n' "$dynamic" | grep -q 'SONAME.*\[libquill\.so\.1\]' || fail "the soname is not libquill.so.1"
[ -e "$(dirname "$shared")/libquill.so" ] || fail "no libquill.so beside $shared"

for file in "$shared" "$static"; do
    "$readelf" -SW "$file" | grep -E '\.(init_array|ctors|init) ' && fail "$file has code that runs at load"
done

[ -n "$processor" ] || exit 0
segments=$("$readelf" -lW "$shared")
printf '%s\n' "$segments" | grep -q GNU_RELRO || fail "no RELRO"
printf '%s\n' "$dynamic" | grep -q -e BIND_NOW -e 'FLAGS.*NOW' || fail "RELRO is not full: symbols are bound late"
printf '%s\n' "$segments" | grep -E ' RWE ' && fail "a segment, or the stack, is writable and executable"
printf '%s\n' "$dynamic" | grep TEXTREL && fail "code is changed at load"
"$readelf" --dyn-syms -W "$shared" | grep -q __stack_chk_fail || fail "no stack protector"
if [ "$processor" = x86_64 ]; then
    "$readelf" -nW "$shared" | grep -q 'IBT, SHSTK' || fail "no CET"
    # The library can use fortified functions only if the C library has them.
    [ "$needed" = libc.so ] || "$readelf" --dyn-syms -W "$shared" | grep -q __vsnprintf_chk || fail "not fortified"
fi
echo "hardened"
