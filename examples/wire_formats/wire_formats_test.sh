#!/bin/sh
# wire_formats_test.sh COMMAND...: tests the steps that the guide shows, and that the reader reports a message that ends
# early. COMMAND writes the message. The reader needs a library that Python on this machine can load. PYTHONPATH is set
# only if there is one.
set -u
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$@" >"$work/message" || exit 1
[ "$(od -An -tx1 -v "$work/message" | tr -d ' \n')" = "$(tr -d ' \n' <"$here/message.hex")" ] ||
    { echo "other bytes"; exit 1; }
[ -n "${PYTHONPATH-}" ] || exit 0
python3 "$here/read_message.py" <"$work/message" >"$work/read" || exit 1
diff -u "$here/read_message.txt" "$work/read" || exit 1
for length in 1 5 116; do
    head -c "$length" "$work/message" | python3 "$here/read_message.py" >/dev/null 2>"$work/damage" && exit 1
    grep -q '^read_message: [a-z0-9_]* at offset [0-9]*: ' "$work/damage" || { cat "$work/damage"; exit 1; }
done
