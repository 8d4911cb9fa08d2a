#!/bin/sh
# check_symbol_versions.sh CC LIBRARY
# A program that needs a name of a later version does not start with this library, and the loader names the missing
# version. A program that needs only this version's names starts.
set -eu
cc=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat >later.c <<'END'
int of_later(void);
int of_later(void) { return 0; }
int HashDestroy(void);
int HashDestroy(void) { return 0; }
END
echo 'QUILL_1.0 { global: HashDestroy; local: *; }; QUILL_1.1 { global: of_later; } QUILL_1.0;' >later.map
mkdir later
$cc -shared -fPIC later.c -o later/libquill.so.1 -Wl,-soname,libquill.so.1 -Wl,--version-script,later.map
echo 'int of_later(void); int main(void) { return of_later(); }' >new.c
echo 'int HashDestroy(void *); int main(int n, char **words) { return n > 9 ? HashDestroy(words) : 0; }' >old.c
for program in new old; do
    $cc "$program.c" -o "$program" later/libquill.so.1
    LD_LIBRARY_PATH=later "./$program" ||
        { echo "$program does not run with the library that it was linked with"; exit 1; }
done

LD_LIBRARY_PATH=$(dirname "$library")
export LD_LIBRARY_PATH
LD_BIND_NOW=1 ./old || { echo "a program that needs QUILL_1.0 does not start"; exit 1; }
if ./new 2>said; then
    echo "a program that needs QUILL_1.1 starts"
    exit 1
fi
cat said
grep -q 'QUILL_1\.1.* not found' said
