#!/bin/sh
# quill_device_test.sh SOURCE_DIR QUILL READ_FLASH: runs quill in a private device. Checks what quill prints about the
# device, about the flash history that the library writes, and about a signed table.
set -eu
source=$1 read_flash=$3
PATH=${2%/*}:$source/tools:$PATH
export PATH TZ=UTC0
mkdir /tmp/work
cd /tmp/work
fail() { echo "FAILED: $*"; exit 1; }

# --- what the device is

echo 43 >/proc/ap_model
echo 2 >/proc/fl_var
echo 1 >/proc/booted
echo 1 >/tmp/mesh_role
echo '12345.67 1000.00' >/proc/uptime
echo 'build of 8.10.105.0 here' >/proc/osbuild
printf '%s\n' '        total:    used:    free:  shared: buffers:  cached:' 'Mem:  134217728 67108864 67108864 0 1048576 4194304' \
    >/proc/meminfo
quill info | tee info
for line in 'model *43' 'partner-branded *no' 'flash variant *2' 'booted partition *1' 'mesh role *1' 'mesh *yes' \
    'version *8\.10\.105\.0' 'uptime *12345 s' 'total *134217728 bytes' 'cached *4194304 bytes'; do
    grep -qx "  $line" info || fail "info says no \"$line\""
done
quill info --json | grep -q '"device":{"model":43,.*"uptime_seconds":12345}.*"total_bytes":134217728,' ||
    fail "info --json"

# --- a signed table, from its making to its use

export SOURCE="$source"
sed -n '/^```sh$/,/^```$/{/^```/!p;}' "$source/docs/signing-regulatory-tables.md" |
    sed -e 's/^sign-reg-table/quill regtable sign/' \
    -e 's/^reg_table /quill regtable /' >commands
grep -q '^quill regtable sign' commands || fail "the guide signs nothing"
sh -eux commands >output 2>&1 || { cat output; fail "a command of the guide to signing"; }
quill regtable verify table 2>steps | tee answer
[ ! -s steps ] || fail "unexpected messages: $(cat steps)"
quill regtable verify --verbose table 2>steps | tee answer
grep -q '^valid, version ' answer || fail "a signed table is refused: $(cat steps)"
grep -q 'Signature verified' steps || fail "the steps are not told: $(cat steps)"
sed '/BEGIN FILE/{n;s/^./#/;}' table >altered
! quill regtable verify altered 2>steps || fail "an altered table is accepted"
grep -q 'not valid (-100)' steps || fail "the reason is not told: $(cat steps)"
mv /quill/reg_table /quill/elsewhere
! quill regtable verify table 2>steps || fail "verified without a folder"
grep -q 'no folder for temporary files, /quill/reg_table: No such file' steps ||
    fail "the reason is not told: $(cat steps)"
mv /quill/elsewhere /quill/reg_table

# --- the history

head -c 4096 /dev/zero >/dev/mtd0
true >/tmp/mtd
"$read_flash" && "$read_flash"
quill flash-history | tee history
# The private /proc shows no process, so the process is unknown.
[ "$(grep -c 'read  *0x00000100  *16 .* ms  unknown  *unknown' history)" -eq 2 ] || fail "flash-history"

# --- the dump

quill dump /tmp/work/state 2>progress || fail "dump"
grep -qx '[0-9]* bytes' progress || fail "no progress: $(cat progress)"
grep -q 'Mem: *134217728' state || fail "the dump lacks the memory"
