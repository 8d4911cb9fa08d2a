#!/bin/sh
# signing_guide_test.sh SOURCE_DIR REG_TABLE
# Runs the commands of the guide to signing in a private device. They must print what the guide shows.
set -eu
source=$1
mkdir /tmp/road
cd /tmp/road
export SOURCE="$source"
PATH=$source/tools:${2%/*}:$PATH

guide=$source/docs/signing-regulatory-tables.md
blocks() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/!p;}" "$guide"; }

blocks sh >commands
[ "$(wc -l <commands)" -gt 8 ] || { echo "found no commands in the guide"; exit 1; }
sh -eux commands >output 2>&1 || { cat output; echo "a command of the guide failed"; exit 1; }
cat output
blocks text | while read -r line; do
    grep -qxF "$line" output || { echo "the guide promises: $line"; exit 1; }
done
cmp table.signed table
refuses() {
    ! sign-reg-table --key signer.key --cert signer.pem --version "$1" "$2" >unsigned 2>/dev/null && [ ! -s unsigned ]
}
printf 'US 1-11 30' >cut.txt
refuses 1.0.7 cut.txt
for version in "$(printf '1.0\n7')" "$(printf '1.0\r')" ' 1.0' '1.0 ' "$(printf '%0127d' 1)"; do
    refuses "$version" table.txt
done
[ -z "$(ls /quill/reg_table)" ] || { echo "temporary files are left"; exit 1; }
