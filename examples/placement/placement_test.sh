#!/bin/sh
# placement_test.sh CASE PLACEMENTD PLACEMENT_TABLE [EMULATOR...]: runs the test CASE of the two programs. EMULATOR is
# the command that runs programs of their machine. Exit status: 0 the test passed, 1 it failed, 77 a needed program is
# missing.
set -u
case=$1 placementd=$2 table=$3
shift 3
emulator="$*"
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d /tmp/placement.XXXXXX) || exit 1 # directly in /tmp, because a socket's path has at most 107 bytes
receiver=
trap '[ -z "$receiver" ] || kill "$receiver" 2>/dev/null; rm -rf "$dir"' EXIT
cd "$dir" || exit 1
day=$dir/day.log
command -v python3 >/dev/null || exit 77
"$here/make-day" >"$day" || exit 1
LC_ALL=C
export LC_ALL

fail() {
    echo "$case: $*" >&2
    for file in out err daemon.err; do
        [ ! -s "$file" ] || { echo "--- $file"; tail -n 20 "$file"; } >&2
    done
    exit 1
}

run() { # words of the emulator have no blanks; the paths of the programs may have some
    # shellcheck disable=SC2086
    $emulator "$@"
}

start_table() {
    LC_ALL=${locale:-C}
    # shellcheck disable=SC2086
    (exec $emulator "$table" --listen s "$@" >out 2>err) & # exec, so that kill ends the program and not a shell
    LC_ALL=C
    receiver=$!
}

end_table() { # end_table STATUS: waits until the receiver ends by itself, and expects STATUS
    wait "$receiver"
    status=$?
    receiver=
    [ "$status" -eq "$1" ] || fail "placement-table: exit status $status, expected $1"
}

place() { # place STATUS ARGUMENT...
    expected=$1
    shift
    run "$placementd" --to s --wait 60 "$@" 2>daemon.err
    status=$?
    [ "$status" -eq "$expected" ] || fail "placementd: exit status $status, expected $expected"
}

day() { # day STATUS ARGUMENT...: runs both programs, with the figures in the file figures; STATUS is the receiver's
    want=$1
    shift
    start_table --rows none --figures figures ${dump:+--dump "$dump"}
    place 0 "$@"
    end_table "$want"
}

expect() { # expect FILE TEXT...: fails unless each text is in the file
    file=$1
    shift
    for text; do
        grep -qF -e "$text" "$file" || fail "$file: expected: $text"
    done
}

recounted() { # recounted POLICY POOL AVOID LOG: compares the figures with those of recount.awk
    awk -v policy="$1" -v pool="$2" -v avoid="$3" -f "$here/recount.awk" "$4" >recount || fail "awk failed"
    sed 1,3d figures >counted
    diff recount counted >out || fail "recount (<) and placement-table (>) differ"
    expect figures "refused 0"
}

refused() { # refused EVENTS TEXT...: expects one message refused with TEXT, and EVENTS decoded
    expect figures "refused 1" "decoded $1"
    shift
    expect err "$@"
}

replies() { # replies STATUS TEXT ARGUMENT...: placementd refuses its arguments and says why
    status=$1 text=$2
    shift 2
    run "$placementd" "$@" >out 2>daemon.err </dev/null
    [ $? -eq "$status" ] || fail "placementd $*: expected exit status $status"
    expect daemon.err "$text"
}

events=$(($(grep -c ' associated$' "$day") + $(grep -c ' disassociated' "$day")))
bad="expected VLAN ids of 1-4094"

case $case in
least-used | mac-hash)
    day 0 --policy "$case" --pool 10-20,30 "$day"
    recounted "$case" 10-20,30 0 "$day"
    expect figures "policy $case" "events $events" "decoded $((events + 1))"
    ;;
one-vlan)
    day 0 --pool 7 --avoid 7 "$day"
    recounted least-used 7 7 "$day"
    expect figures "fairness 1.000000" ;;
large-pool)
    sed 300q "$day" >log
    day 0 --pool all log
    recounted least-used 1-4094 0 log
    pairs=$(awk 'BEGIN { for (v = 1; v < 4093; v += 3) printf "%s%d-%d", (v > 1 ? "," : ""), v, v + 1 }')
    day 0 --pool "$pairs" --avoid "$pairs" --policy mac-hash log
    recounted mac-hash "$pairs" "$pairs" log ;;
avoid)
    for policy in least-used mac-hash; do
        day 0 --policy $policy --pool 10-20,30 --avoid 12-14,30,99 "$day"
        recounted $policy 10-20,30 12-14,30,99 "$day"
        expect figures "vlans 8" "vlan 13 0 0" "vlan 30 0 0"
    done ;;
avoid-all)
    day 0 --pool 10-12 --avoid all "$day"
    recounted least-used 10-12 1-4094 "$day" ;;
damaged-length)
    dump=700
    day 1 --pool 10-20,30 --damage 700 "$day"
    refused "$events" "placement-table: message 700 refused at offset 7: the length runs past the end of the message" \
        "found str of 65285 bytes, 22 left" "expected str (interface)"
    expect out "message 700, 32 bytes, refused" "     5  02 0" "     7  00 ff 05 77 6c 61 6e 3" ;;
damaged-tag)
    day 1 --pool 10-20,30 --damage 700:15 "$day"
    refused "$events" \
        "message 700 refused at offset 15: an element of another kind, found unknown tag 254" \
        "expected mac (station)" ;;
damaged-value)
    day 1 --pool 10-20,30 --damage 700:4 "$day"
    refused "$events" \
        "message 700 refused at offset 0: the value is not allowed here, found 579, expected u32 (sequence)"
    day 1 --pool 10-20,30 --damage 700:6 "$day"
    refused "$events" "message 700 refused at offset 5" "(unknown), expected u8 (event)"
    day 1 --pool 10-20,30 --damage 700:10 "$day"
    refused "$events" 'refused at offset 7: the value is not allowed here, found "?lan' "expected str (interface)"
    day 1 --pool 10-20,30 --damage 700:26 "$day"
    refused "$events" "refused at offset 22: the value is not allowed here" "expected u32 (vlan)" ;;
damaged-pool)
    start_table
    run "$placementd" --to s --wait 60 --pool 10-20 --damage 0 "$day" 2>daemon.err # the receiver closes its socket
    end_table 1
    expect err "message 0 refused at offset 7" "no pool was told" ;;
stdin)
    day 0 --pool 10-20,30 - <"$day"
    recounted least-used 10-20,30 0 "$day" ;;
socket)
    python3 - "$day" <<'END' &
import socket, sys, time
log = socket.socket(socket.AF_UNIX)
for _ in range(3000):
    try:
        log.connect("log")
        break
    except OSError:
        time.sleep(0.02)
log.sendall(open(sys.argv[1], "rb").read())
END
    day 0 --pool 10-20,30 --listen log
    recounted least-used 10-20,30 0 "$day"
    [ ! -e log ] || fail "a socket file was left" ;;
odd-lines)
    mac=00:1b:63:aa:bb
    {
        echo "Nov 22 10:00:00 ap hostapd: wlan0: STA $mac:01 IEEE 802.11: associated (aid 1)"
        printf 'wlan1: STA 00:1B:63:AA:BB:02 IEEE 802.11: associated\r\n'
        echo "wlan1: STA $mac:01 IEEE 802.11: associated"
        echo "wlan1: STA $mac:03 IEEE 802.11: authenticated"
        echo "wlan1: STA $mac:03 IEEE 802.11: associatedly"
        echo "wlan1: STA $mac:03 IEEE 802.11: associate"
        echo "wlan1: STA $mac:03 IEEE 802.1X: associated"
        echo "wlan1: STA $mac:3 IEEE 802.11: associated"
        echo "wlan1: STA $mac:0g IEEE 802.11: associated"
        echo "wlan1: STA $mac:03"
        echo "wlan1: STA "
        echo ": STA $mac:03 IEEE 802.11: associated"
        echo "interface-of-16-b: STA $mac:03 IEEE 802.11: associated"
        echo "wlan1: STA $mac:03 IEEE 802.1X: identity x: STA $mac:03 IEEE 802.11: associated"
        awk 'BEGIN { for (i = 0; i < 5000; i++) printf "x" }'
        echo " wlan1: STA $mac:03 IEEE 802.11: associated"
        printf '\0\377\n\n'
        echo "wlan1: STA $mac:04 IEEE 802.11: disassociated"
        echo "wlan1: STA $mac:02 IEEE 802.11: deauthenticated due to inactivity (timer DEAUTH/REMOVE)"
        echo "wlan1: STA $mac:02 IEEE 802.11: disassociated due to inactivity"
        printf 'wlan1: STA %s:02 IEEE 802.11: associated' $mac # the last line has no newline
    } >log
    start_table --rows all
    place 0 --pool 5-6 --progress --trace log
    end_table 0
    cat >wanted <<END
sequence  event   interface        station            vlan  clients
       1  placed  wlan0            $mac:01     5        1
       2  placed  wlan1            $mac:02     6        1
       3  kept    wlan1            $mac:01     5        1
       4  left    wlan1            $mac:02     6        0
       5  placed  wlan1            $mac:02     6        1
END
    diff wanted out >&2 || fail "expected (<) and shown rows (>) differ"
    expect daemon.err "placementd: 21 lines, 5 events, 2 stations placed now" \
        "placementd: vlan_alloc_update (vlan_alloc:140): Vlan Alloc  usage ; usage=1 vlan 5" ;;
arguments)
    for text in "" 0 10-5 4095 10,,20 "10 20" x -1 10-; do
        replies 2 "placementd: bad --pool: found" --to s --pool "$text" "$day"
    done
    replies 2 "bad --avoid: found \"9-\", $bad" --to s --pool 1 --avoid 9- "$day"
    replies 2 'bad --policy: found "most-used", expected' --to s --pool 1 --policy most-used "$day"
    replies 2 'bad --damage: found "x"' --to s --pool 1 --damage x "$day"
    replies 2 "found no --to" --pool 1 "$day"
    replies 2 "found no --pool" --to s "$day"
    replies 2 "found 0 files and no --listen" --pool 1 --to s
    replies 2 "found 1 files and a --listen" --pool 1 --to s --listen l "$day"
    replies 2 "cannot open nowhere: No such file" --pool 1 --to s nowhere
    replies 2 "usage:" --unknown
    run "$table" --listen s --rows some 2>err && fail "--rows some was taken"
    expect err 'placement-table: bad --rows: found "some", expected all, none or a number' ;;
no-receiver)
    replies 2 "placementd: cannot connect to s: No such file" --to s --pool 10 "$day"
    replies 2 "bad socket path: found 200 bytes" --to "$(printf '%0200d' 0)" --pool 10 "$day" ;;
leftover)
    start_table
    until [ -S s ]; do sleep 0.1; done
    mv s kept # so that the socket file stays after its listener, as after a kill
    kill -9 "$receiver" && wait "$receiver" 2>/dev/null
    mv kept s
    day 0 --pool 10 "$day"
    echo data >s
    run "$table" --listen s 2>err && fail "a file was taken for a socket"
    expect err "cannot listen at s: Address"
    expect s data ;;
in-use)
    start_table --rows none --figures figures
    until [ -S s ]; do sleep 0.1; done
    run "$table" --listen s 2>err && fail "a second listener took the path"
    expect err "cannot listen at s: Address"
    place 0 --pool 10 "$day" # the first listener still works
    end_table 0 ;;
charts)
    for pool in 10 10-20,30 100-140 1-300 all; do
        for locale in C C.UTF-8; do
            start_table --rows none --summary --dump 1200
            place 0 --pool $pool --avoid 10 --policy mac-hash "$day"
            end_table 0
            awk '{ gsub(/\342\226[\200-\277]/, "#") } length($0) > 80 { exit 1 }' out ||
                fail "pool $pool: a line is wider than 80 columns"
            [ "$(wc -l <out)" -lt 70 ] || fail "pool $pool: the chart is too long"
        done
    done ;;
*) fail "no such case" ;;
esac
