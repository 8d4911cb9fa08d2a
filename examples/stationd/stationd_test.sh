#!/bin/sh
# stationd_test.sh COMMAND...: tests the steps that the guide shows. COMMAND runs stationd.
set -u
work=$(mktemp -d)
trap 'kill $daemon 2>/dev/null; rm -rf "$work"' EXIT
"$@" "$work/socket" 2>"$work/log" &
daemon=$!
for _ in $(seq 100); do [ -S "$work/socket" ] && break; sleep 0.05; done
"$@" "$work/socket" 02:00:00:00:00:01 120 && "$@" "$work/socket" 02:00:00:00:00:02 130 &&
    "$@" "$work/socket" 02:00:00:00:00:01 0 || exit 1
for wrong in "nonsense 5" "02:00:00:00:00:01 x" "02:00:00:00:00:01 4095"; do
    # shellcheck disable=SC2086 # two words
    "$@" "$work/socket" $wrong 2>/dev/null && echo "stationd takes $wrong" && exit 1
done
kill -s STOP $daemon
"$@" "$work/socket" 02:00:00:00:00:03 140 || exit 1
kill $daemon && kill -s CONT $daemon && wait $daemon || { echo "stationd did not end well"; exit 1; }
diff -u - "$work/log" <<'END' && [ ! -e "$work/socket" ]
stationd: 02:00:00:00:00:01 is on VLAN 120
stationd: 02:00:00:00:00:02 is on VLAN 130
stationd: 02:00:00:00:00:01 has left, 1 stay
stationd: 02:00:00:00:00:03 is on VLAN 140
END
