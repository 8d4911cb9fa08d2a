#!/bin/sh
# check_certificates.sh CMAKE SOURCE_DIR CXX_COMPILER NM
# A deployment's own certificates are compiled in completely, and CMake does not warn. CMake warns if the certificates
# are those of the development authority. A file that is not a certificate in DER form is refused.
set -eu
cmake=$1 source=$2 cxx=$3 nm=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure() { # PARENT TOP
    "$cmake" -G Ninja -S "$source" -B "$work/build" -DCMAKE_CXX_COMPILER="$cxx" -DQUILL_TESTS=OFF -DQUILL_EXAMPLES=OFF \
        -DQUILL_PARENT_CERTIFICATE="$1" -DQUILL_TOP_CERTIFICATE="$2" >"$work/log" 2>&1
}
certificate() { # NAME FORM
    openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key" -subj "/CN=$1" -days 2 -outform "$2" \
        -out "$work/$1.$2" 2>/dev/null
}
certificate a DER
certificate a_longer_name DER
certificate a PEM

if configure "$work/a.PEM" "$work/a.DER"; then echo "a certificate in PEM form is taken"; exit 1; fi
cat "$work/a.DER" "$work/a.DER" >"$work/two"
if configure "$work/a.DER" "$work/two"; then echo "two certificates are taken for one"; exit 1; fi
configure "$work/a.DER" "$work/a_longer_name.DER" || { cat "$work/log"; exit 1; }
grep -q "development authority" "$work/log" && { echo "a warning of the development authority"; exit 1; }

object=src/CMakeFiles/quill_objects.dir/security/certificates.cpp.o
"$cmake" --build "$work/build" --target "$object" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
for pair in Parent_CA_Cert:a.DER Top_CA_Cert_1:a_longer_name.DER; do
    size=$(printf %d 0x"$("$nm" -S "$work/build/$object" | sed -n "s/.* \(.*\) R ${pair%:*}\$/\1/p")")
    [ "$size" -eq "$(wc -c <"$work/${pair#*:}")" ] || { echo "$pair: $size bytes"; exit 1; }
done
"$cmake" -S "$source" -B "$work/build" -UQUILL_PARENT_CERTIFICATE -UQUILL_TOP_CERTIFICATE >"$work/log" 2>&1
[ "$(grep -c "is the development authority" "$work/log")" -eq 2 ] || { cat "$work/log"; echo "no warning"; exit 1; }
