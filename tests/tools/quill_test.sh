#!/bin/sh
# quill_test.sh SOURCE_DIR QUILL [EMULATOR...]: runs every command of the program through a pipe and on a real terminal.
# Both must print the same. The emulator runs programs of the machine that quill was built for.
set -u
source=$1 program=$2
shift 2
command -v tmux >/dev/null || { echo "skipped: no tmux"; exit 77; }
tmux -L "quill-try-$$" -f /dev/null new-session -d true 2>/dev/null ||
    { echo "skipped: no terminal for tmux"; exit 77; }
dir=$(mktemp -d) || exit 1
tmux=false
terminals=0
trap '$tmux kill-server 2>/dev/null; rm -rf "$dir"' EXIT
mkdir "$dir/bin"
{
    printf '#!/bin/sh\nexec'
    for word; do printf " '%s'" "$word"; done
    printf ' '\''%s'\'' "$@"\n' "$program"
} >"$dir/bin/quill"
chmod +x "$dir/bin/quill"
PATH=$dir/bin:$PATH LC_ALL=C.UTF-8 TZ=UTC0
export PATH LC_ALL TZ
unset NO_COLOR
cd "$dir" || exit 1
failures=0 checks=0

complain() {
    failures=$((failures + 1))
    echo "FAILED: $*"
}

# on_terminal COMMANDS: writes their screen, without the blank lines at its end, to the file screen, and the coloured
# screen to the file colours.
on_terminal() {
    printf '%s\n' "$1" >commands
    # Each session has a server of its own, because a server whose last session has ended may still be ending.
    terminals=$((terminals + 1))
    tmux="tmux -L quill-test-$$-$terminals -f /dev/null"
    $tmux new-session -d -x 200 -y 60 "cd '$dir'; sh ./commands; $tmux wait-for -S done; sleep 100" &&
        $tmux wait-for "done" || exit 1
    $tmux capture-pane -p >screen
    $tmux capture-pane -p -e >colours
    $tmux kill-server
    awk '{ lines[NR] = $0; if ($0 != "") last = NR } END { for (i = 1; i <= last; i++) print lines[i] }' screen >trimmed
    mv trimmed screen
}

# expect STATUS COMMAND <OUTPUT: expects the exit status and both outputs together, through a pipe and on a terminal.
expect() {
    checks=$((checks + 1))
    sed 's/ *$//' >wanted
    echo "status $1" >>wanted
    printf '%s\n' "{ $2; } 2>&1; echo status \$?" >piped
    sh ./piped | cat | sed 's/ *$//' >got
    diff wanted got || complain "$2, through a pipe"
    on_terminal "$(cat piped)"
    diff wanted screen || complain "$2, on a terminal"
}

# --- messages

cat >message.txt <<'TEXT'
str "two \"words\"\n"
mac 00:1b:63:aa:bb:cc
u8 255
u16 20
u32 70123
u64 18446744073709551615
s32 -2147483648
ip 10.1.2.15
ipv6 2001:db8::1
ip_af 10.0.0.1
ip_af ::1
ip_af 7 000102030405060708090a0b0c0d0e0f
bool true
bool 7
hex
hex 000102030405060708090a0b0c0d0e0f10
str3 "long"
hex_len32 4142
hex32 01
TEXT
quill encode message.txt >message || complain "quill encode message.txt"
quill decode --plain message | diff message.txt - || complain "decode does not give back what was encoded"

expect 0 'quill decode message' <<'END_OF_OUTPUT'
offset  kind       length  value
     0  str            15  "two \"words\"\n"
    15  mac             7  00:1b:63:aa:bb:cc
    22  u8              2  255
    24  u16             3  20
    27  u32             5  70123
    32  u64             9  18446744073709551615
    41  s32             9  -2147483648
    50  ip              5  10.1.2.15
    55  ipv6           17  2001:db8::1
    72  ip_af          21  10.0.0.1
    93  ip_af          21  ::1
   114  ip_af          21  7  000102030405060708090a0b0c0d0e0f
   135  bool            3  true
   138  bool            3  7
   141  hex             3
   144  hex            20
        0000  00 01 02 03 04 05 06 07  08 09 0a 0b 0c 0d 0e 0f  |................|
        0010  10                                                |.|
   164  str3            9  "long"
   173  hex_len32       7
        0000  41 42                                             |AB|
   180  hex32           6
        0000  01                                                |.|
END_OF_OUTPUT

expect 1 "head -c 57 message | quill decode --plain | tail -n 2
head -c 57 message | quill decode >/dev/null" <<'END_OF_OUTPUT'
quill decode: standard input: offset 55: expected 17 bytes of ipv6, found 2 left
s32 -2147483648
ip 10.1.2.15
quill decode: standard input: offset 55: expected 17 bytes of ipv6, found 2 left
END_OF_OUTPUT

expect 1 "printf '02 03\n030014 0f\n0x\n00000261ff\n' | quill decode --lines --json" <<'END_OF_OUTPUT'
{"line":1,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":3}],"damage":null}
{"line":2,"length":4,"elements":[{"offset":0,"kind":"u16","length":3,"value":20}],"damage":{"offset":3,"expected":"a tag from 0 to 14","found":"0x0f"}}
quill decode: standard input:2: offset 3: expected a tag from 0 to 14, found 0x0f
{"line":3,"damage":{"offset":0,"expected":"hexadecimal digits, two a byte","found":"none at character 2"}}
quill decode: standard input:3: offset 0: expected hexadecimal digits, two a byte, found none at character 2
{"line":4,"length":5,"elements":[{"offset":0,"kind":"str","length":5,"hex":"61ff"}],"damage":null}
END_OF_OUTPUT

# Elements that no checked writer makes, and bytes that a value does not show.
expect 0 "printf 'str3 \"\"\\nhex_len32\\nhex32\\n' | quill encode | quill decode --plain
echo 0607029a0400000005 | quill decode --hex
echo 0607029a0400000005 | quill decode --hex --json" <<'END_OF_OUTPUT'
str3 ""
hex_len32
hex32
offset  kind       length  value
     0  s32             9  5  of the bytes 0607029a0400000005
{"length":9,"elements":[{"offset":0,"kind":"s32","length":9,"value":5,"bytes":"0607029a0400000005"}],"damage":null}
END_OF_OUTPUT

# Names of elements, one name for all further elements, and messages that have other elements.
printf '# of events\n1: sequence, event,mac,vlan...\n00:1b:63:aa:bb:cc: mac\n' >names
expect 1 "for names in event,kind,mac,vlan sequence,event @names; do
    quill decode --names \$names --hex '0400000001 0203 01001b63aabbcc 030014'
done
echo 01001b63aabbcc | quill decode --hex --json --names @names
quill decode --names @names --hex 0203; quill decode --names a,b --hex 0203" <<'END_OF_OUTPUT'
offset  name   kind       length  value
     0  event  u32             5  1
     5  kind   u8              2  3
     7  mac    mac             7  00:1b:63:aa:bb:cc
    14  vlan   u16             3  20
offset  name      kind       length  value
     0  sequence  u32             5  1
     5  event     u8              2  3
     7            mac             7  00:1b:63:aa:bb:cc
    14            u16             3  20
quill decode: 0400000001 0203 01001b63aabbcc 030014: offset 7: expected the end, found mac
offset  name      kind       length  value
     0  sequence  u32             5  1
     5  event     u8              2  3
     7  mac       mac             7  00:1b:63:aa:bb:cc
    14  vlan      u16             3  20
{"length":7,"elements":[{"offset":0,"name":"mac","kind":"mac","length":7,"value":"00:1b:63:aa:bb:cc"}],"damage":null}
offset  name      kind       length  value
     0            u8              2  3
quill decode: 0203: offset 0: expected a first element that is in the file of names, found another
offset  name  kind       length  value
     0  a     u8              2  3
quill decode: 0203: offset 2: expected b, found the end
END_OF_OUTPUT
# A capture, except for the time.
expect 1 "quill decode --pcap cap --hex 0203; { head -c 24 cap; tail -c 10 cap; } | od -An -tx1
quill decode --pcap nowhere/cap --hex 0203" <<'END_OF_OUTPUT'
offset  kind       length  value
     0  u8              2  3
 a1 b2 c3 d4 00 02 00 04 00 00 00 00 00 00 00 00
 00 04 00 00 00 00 00 93 00 00 00 02 00 00 00 02
 02 03
quill decode: cannot make nowhere/cap: No such file or directory
END_OF_OUTPUT

expect 1 "printf '# a comment\\n\\nu8 256\\n' | quill encode --hex
printf 'u8 \\033[31m' | quill encode --hex" <<'END_OF_OUTPUT'
quill encode: standard input:3: u8: expected a number up to 255, found 256
quill encode: standard input:1: u8: expected a number up to 255, found ?[31m
END_OF_OUTPUT

# Bytes as other tools print them. Each text has the bytes "00 00 0c 7b 22 5c 78 34 31 7c 7d 3a 30 78 22 06". A few
# texts are not valid.
cat >dumps <<'DUMPS'
xxd
00000000: 0000 0c7b 225c 7834 317c 7d3a 3078 2206  ...{"\x41|}:0x".
xxd -i
unsigned char m[] = {
  0x00, 0x00, 0x0c, 0x7b, 0x22, 0x5c, 0x78, 0x34, 0x31, 0x7c, 0x7d, 0x3a,
  0x30, 0x78, 0x22, 0x06
};
unsigned int m_len = 16;
hexdump -C
00000000  00 00 0c 7b 22 5c 78 34  31 7c 7d 3a 30 78 22 06  |...{"\x41|}:0x".|
00000010
od -tx1
0000000 00 00 0c 7b 22 5c 78 34 31 7c 7d 3a 30 78 22 06
0000020
tcpdump -X
12:00:00.000000 IP 10.0.0.1.1 > 10.0.0.2.2: UDP, length 16
	0x0000:  0000 0c7b 225c 7834 317c 7d3a 3078 2206  ...{"\x41|}:0x".
strace -x
read(3, "\x00\x00\x0c\x7b\x22\x5c\x78\x34\x31\x7c\x7d\x3a\x30\x78\x22\x06", 4096) = 16
gdb
0x7ffe08 <m>:	0x00	0x00	0x0c	0x7b	0x22	0x5c	0x78	0x34
0x7ffe10 <m+8>:	0x31	0x7c	0x7d	0x3a	0x30	0x78	0x22	0x06
DUMPS
for tool in xxd 'xxd -i' 'hexdump -C' 'od -tx1' 'tcpdump -X' 'strace -x' gdb; do
    awk -v tool="$tool" '/^[a-z]+( -[a-zA-Z0-9]+)?$/ { in_it = $0 == tool; next } in_it' dumps >dump
    checks=$((checks + 1))
    [ "$(quill decode --hex --plain dump 2>&1)" = 'str "{\"\\x41|}:0x\""
quill decode: dump: offset 15: expected 9 bytes of s32, found 1 left' ] ||
    complain "what $tool prints: $(quill decode --hex dump 2>&1)"
done
expect 1 "quill decode --hex --plain 02:03; printf '00000000: 02\n00000010: 03\n' | quill decode --hex
echo '0000000 0302 0003' | quill decode --hex
printf '02 03\n*\n' | quill decode --hex" <<'END_OF_OUTPUT'
u8 3
quill decode: standard input:2: expected bytes in hexadecimal, with offsets that go on from line to line if any
quill decode: standard input:1: expected bytes in hexadecimal, with offsets that go on from line to line if any
quill decode: standard input:2: expected bytes in hexadecimal, with offsets that go on from line to line if any
END_OF_OUTPUT
quill decode --json message | quill encode --json | cmp - message ||
    complain "encode does not read what decode --json prints"
expect 0 "echo '{\"elements\":[{\"kind\":\"u8\",\"value\":256}]}' | quill encode --json --hex
echo '[1]' | quill encode --json --hex
echo '{\"elements\":[{\"kind\":\"str\",\"value\":\"\\u00e9\\ud83d\\ude00\"}]} ' | quill encode --json --hex" <<'END_OF_OUTPUT'
quill encode: standard input: offset 38: expected a number up to 255
quill encode: standard input: offset 0: expected a JSON object
000006c3a9f09f9880
END_OF_OUTPUT
# One Ctrl-D ends the input.
checks=$((checks + 1))
typing="tmux -L quill-typing-$$ -f /dev/null"
$typing new-session -d -x 80 -y 24 "cd '$dir'; PATH='$PATH' quill decode --hex >typed; tmux -L quill-typing-$$ wait-for -S typed; sleep 100"
$typing send-keys '02 03' Enter C-d
timeout 20 $typing wait-for typed && grep -q 'u8' typed || complain "one Ctrl-D does not end the input"
$typing kill-server

# --- sockets

expect 1 "quill listen --count 4 s & printf 'mac 00:1b:63:aa:bb:cc\\nu32 20\\n\\n# a comment\\n\\nu8 1
{\"elements\":[{\"kind\":\"str\",\"value\":\"two\"}]}' | quill send --wait 60 s
printf '\\003' | quill send --raw s
wait \$!" <<'END_OF_OUTPUT'
1
offset  kind       length  value
     0  mac             7  00:1b:63:aa:bb:cc
     7  u32             5  20

2
offset  kind       length  value
     0  u8              2  1

3
offset  kind       length  value
     0  str             6  "two"

4
offset  kind       length  value
quill listen: s:4: offset 0: expected 3 bytes of u16, found 1 left
END_OF_OUTPUT
head -c 1100000 /dev/zero >long
expect 1 "for type in seqpacket stream; do
    quill listen --type \$type --json --count 3 s &
    printf '{\"elements\":[]}\\nu8 2\\n\\nu8 3\\n' | quill send --wait 60 s
    [ \$type = seqpacket ] || quill send --raw s long 2>/dev/null
    wait \$!
done" <<'END_OF_OUTPUT'
{"message":1,"length":0,"elements":[],"damage":null}
{"message":2,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":2}],"damage":null}
{"message":3,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":3}],"damage":null}
{"message":1,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":2}],"damage":null}
{"message":2,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":3}],"damage":null}
{"message":3,"damage":{"offset":1048576,"expected":"the end","found":"more bytes"}}
quill listen: s:3: offset 1048576: expected the end, found more bytes
END_OF_OUTPUT

# A file at the path stays. A file that has replaced the program's own socket also stays.
expect 1 "ln -s nowhere link
for path in message.txt link . nowhere/s \$(printf %0108d 0); do quill listen \$path; done; rm link
quill listen s & until [ -S s ]; do sleep 0.1; done
quill listen --type stream s; echo u8 1 | quill send --type stream s
kill -KILL \$!; wait; quill listen s; echo u8 1 | quill send s; rm s
for signal in HUP TERM; do
    quill listen s & until [ -S s ]; do sleep 0.1; done
    [ \$signal != TERM ] || { mv s moved; : >s; }
    kill -\$signal \$!; wait; ls -1 s moved 2>/dev/null
done; rm s moved; quill listen s --count 0 && test ! -e s; quill send nowhere long" <<'END_OF_OUTPUT'
quill listen: cannot listen at message.txt: another file is there
quill listen: cannot listen at link: a symbolic link is there
quill listen: cannot listen at .: a folder is there
quill listen: cannot listen at nowhere/s: No such file or directory
quill listen: expected a path of 1 to 107 bytes, found 108: 000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000
quill listen: cannot listen at s: another process does
quill send: s: the socket there is of another type
quill listen: cannot listen at s: the socket of a process that has ended is there; remove it
quill send: s: no process listens there
moved
s
quill send: long:1: a NUL byte in the line
END_OF_OUTPUT
cat >answer.py <<'PYTHON'
import socket
import sys

server = socket.socket(socket.AF_UNIX, getattr(socket, "SOCK_" + sys.argv[1]))
server.bind("s")
if sys.argv[1] == "DGRAM":
    server.sendto(*server.recvfrom(99))
else:
    server.listen()
    peer = server.accept()[0]
    peer.send(peer.recv(99))
PYTHON

expect 1 "for type in DGRAM SEQPACKET STREAM; do
    python3 answer.py \$type &
    printf 'u8 1\\n' | quill send --wait 60 --reply --json s; wait; rm s
done
quill listen s >/dev/null & printf 'u8 1' | quill send --wait 60 --reply --timeout 1 s; kill \$!; wait
quill listen --type seqpacket --count 1 s >/dev/null & printf 'u8 1' | quill send --wait 60 --reply s" <<'END_OF_OUTPUT'
{"message":1,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":1}],"damage":null}
{"message":1,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":1}],"damage":null}
{"message":1,"length":2,"elements":[{"offset":0,"kind":"u8","length":2,"value":1}],"damage":null}
quill send: s: no reply within the timeout
quill send: s: the connection was closed without a reply
END_OF_OUTPUT

# Descriptors that a sender passes are not accepted. Senders beyond the 32nd wait. This is not tested in the emulator,
# which makes room for control data by itself.
cat >hostile.py <<'PYTHON'
import array
import os
import socket
import sys
import time


def sender():
    peer = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    peer.connect("s")
    return peer


def descriptors_after(count):
    while open("shown").read().count("\n") < count:
        time.sleep(0.05)
    return len(os.listdir(f"/proc/{sys.argv[1]}/fd"))


first = sender()
first.send(b"\2\1")
before = descriptors_after(1)
first.sendmsg([b"\2\2"], [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", [0] * 8))])
print(descriptors_after(2) - before)
others = [sender() for _ in range(32)]
others[-1].send(b"\2\3")
first.send(b"\2\4")
first.close()
print(descriptors_after(4) - before)
PYTHON
[ $# -gt 0 ] || expect 0 "(umask 077; exec quill listen --type seqpacket --json s >shown) & until [ -S s ]; do sleep 0.1; done
timeout 60 python3 hostile.py \$!; stat -c %a s; sed 's/.*\"value\":\([0-9]*\).*/\1/' shown; kill \$!; wait" <<'END_OF_OUTPUT'
0
31
700
1
2
4
3
END_OF_OUTPUT

# --- the other readers

expect 0 "echo '001b 0001 0004 00000014 0003 0005 68656c6c6f 0004 0006 001b63aabbcc' | quill tlv --hex" <<'END_OF_OUTPUT'
offset   type  length  value
     2      1       4  00000014  20
    10      3       5  68656c6c6f  "hello"
    19      4       6  001b63aabbcc
END_OF_OUTPUT
printf '# two records\n3 "hello"\n1 u32 20\n4 001b63aabbcc\n9\n' | quill tlv --encode >buffer
quill tlv --plain buffer | quill tlv --encode | cmp - buffer ||
    complain "tlv --encode does not read what --plain prints"
quill tlv --json buffer | quill tlv --encode --json | cmp - buffer ||
    complain "tlv --encode does not read what --json prints"
expect 1 "quill tlv --plain buffer; echo 70000 | quill tlv --encode --hex
echo '1 \"a' | quill tlv --encode --hex" <<'END_OF_OUTPUT'
3 68656c6c6f
1 00000014
4 001b63aabbcc
9
quill tlv: standard input:1: expected a type up to 65535
quill tlv: standard input:1: expected a text between double quotes
END_OF_OUTPUT
expect 1 "echo '0009 0003 0025 68656c6c6f' | quill tlv --hex --json" <<'END_OF_OUTPUT'
{"records":[],"damage":{"offset":4,"expected":"37 bytes of value","found":"5 left"}}
quill tlv: standard input: offset 4: expected 37 bytes of value, found 5 left
END_OF_OUTPUT

# A history of three transfers, and a full one, whose records are in the order 7 to 199, 0 to 6.
history() { # history NEXT COUNT
    awk -v next_record="$1" -v count="$2" '
        function word(n) { printf "%c%c%c%c", 0, int(n / 65536) % 256, int(n / 256) % 256, n % 256 }
        function label(text,  i) { printf "%s", text; for (i = length(text); i < 32; i++) printf "%c", 0 }
        BEGIN {
            word(200); word(next_record)
            for (i = 0; i < count; i++) {
                word(3600 + (i - next_record + 200) % 200); word(i * 256); word(i % 2); word(16); word(i)
                label("httpd[" i "]"); label("init[1]")
            }
            for (i = count * 84; i < 200 * 84; i++) printf "%c", 0
        }'
}
LC_ALL=C history 3 3 >few
LC_ALL=C history 7 200 >round
expect 0 "quill flash-history few" <<'END_OF_OUTPUT'
        when  what     offset          length        took  process                 parent
     1:03:17  write    0x00000000          16        0 ms  httpd[0]                init[1]
     1:03:18  read     0x00000100          16        1 ms  httpd[1]                init[1]
     1:03:19  write    0x00000200          16        2 ms  httpd[2]                init[1]
END_OF_OUTPUT
expect 0 "quill flash-history --json round | tr '{' '\\n' | sed -n '2p;3p;201p'" <<'END_OF_OUTPUT'
"seconds":3600,"operation":"read","offset":1792,"length":16,"milliseconds":7,"process":"httpd[7]","parent":"init[1]"},
"seconds":3601,"operation":"write","offset":2048,"length":16,"milliseconds":8,"process":"httpd[8]","parent":"init[1]"},
"seconds":3799,"operation":"write","offset":1536,"length":16,"milliseconds":6,"process":"httpd[6]","parent":"init[1]"}]
END_OF_OUTPUT
expect 1 "quill flash-history message.txt; quill flash-history nowhere" <<END_OF_OUTPUT
quill flash-history: message.txt: expected 16808 bytes, found $(wc -c <message.txt)
quill flash-history: cannot open nowhere: No such file or directory
END_OF_OUTPUT

# --follow also shows later transfers. The library first writes the number of the next record, and then the record.
LC_ALL=C history 2 2 >growing
true >followed
quill flash-history --follow --json growing >followed &
follower=$!
tries=0
until [ "$(wc -l <followed)" -ge 2 ] || [ $((tries += 1)) -gt 100 ]; do sleep 0.1; done
LC_ALL=C history 3 3 >grown
dd if=grown of=growing bs=4 count=2 conv=notrunc 2>/dev/null
sleep 0.5
dd if=grown of=growing bs=4 skip=44 seek=44 count=21 conv=notrunc 2>/dev/null
tries=0
until [ "$(wc -l <followed)" -ge 3 ] || [ $((tries += 1)) -gt 100 ]; do sleep 0.1; done
LC_ALL=C history 1 1 >another
mv another growing
tries=0
until [ "$(wc -l <followed)" -ge 4 ] || [ $((tries += 1)) -gt 100 ]; do sleep 0.1; done
kill $follower
wait $follower 2>/dev/null
[ "$(sed 's/.*"process":"\([^"]*\)".*/\1/' followed | tr '\n' ' ')" = 'httpd[0] httpd[1] httpd[2] httpd[0] ' ] ||
    complain "flash-history --follow: $(cat followed)"
[ ! -w /dev/full ] || ! timeout 20 quill flash-history --follow few >/dev/full 2>/dev/null ||
    complain "flash-history --follow goes on without a reader"
: >empty
expect 0 "quill flash-history --json empty" <<'END_OF_OUTPUT'
[]
END_OF_OUTPUT

# --- sets, versions, digests, texts, addresses

expect 0 "quill vlan 1-10,20 + 30 - 5; quill vlan not 3-4094 - not 1; quill vlan --count all - 1
quill vlan --expand 1-2
quill vlan --json 5-7" <<'END_OF_OUTPUT'
1-4,6-10,20,30
1
4093
1
2
{"set":"5-7","count":3,"ids":[5,6,7]}
END_OF_OUTPUT
expect 1 "quill vlan 10-5" <<'END_OF_OUTPUT'
quill vlan: "10-5" is not a set: expected ids from 1 to 4094 and ranges, as in 1-10,20
END_OF_OUTPUT
expect 2 "quill vlan 1 2" <<'END_OF_OUTPUT'
quill vlan: expected + or - before "2"
usage: quill vlan [--count | --expand | --json] [not] SET [+|- [not] SET]...
END_OF_OUTPUT

expect 1 "quill version compare 8.10.0.0 8.10.0.1; quill version compare 9.0.0.0-8.0.0.0 7.0.0.0-8.0.0.0
quill version range 8.10.0 8.11.0 8.10.105; quill version eol 4.2.0.0 42
quill version eol 4.1.0.0 43" <<'END_OF_OUTPUT'
older
equal
within
supported
too old
END_OF_OUTPUT
expect 1 "quill version range 8.10.0 8.11.0 8.11.0; quill version compare x 1.2.3.4" <<'END_OF_OUTPUT'
outside
quill version: "x" is not a version: expected four numbers, as in 8.10.0.0
END_OF_OUTPUT

expect 1 "printf abc | quill md5; quill md5 nowhere; printf 'what do ya want for nothing?' | quill hmac --key=Jefe
quill hmac --key-hex 0b </dev/null" <<'END_OF_OUTPUT'
900150983cd24fb0d6963f7d28e17f72  -
quill md5: cannot open nowhere: No such file or directory
750c783e6ab0b503eaa86e310a5db738
quill hmac: standard input is empty: an empty input has no code
END_OF_OUTPUT
printf abc >"a \"b\""
expect 1 "quill md5 --json nowhere 'a \"b\"' message.txt 2>/dev/null; quill hmac --json --key-hex 4a656665 'a \"b\"'
quill version compare --json 8.10.0.0 8.10.0.1; quill version --json eol 4.1.0.0 43" <<END_OF_OUTPUT
[{"md5":"900150983cd24fb0d6963f7d28e17f72","file":"a \\"b\\""},{"md5":"$(md5sum <message.txt | cut -c 1-32)","file":"message.txt"}]
{"file":"a \\"b\\"","hmac_md5":"$(printf abc | openssl dgst -md5 -hmac Jefe | sed 's/.* //')"}
{"answer":"older"}
{"answer":"too old"}
END_OF_OUTPUT

expect 1 "quill scramble abc; quill unscramble 524c54; quill scramble --ascii abcd; quill unscramble --ascii 0R0L0T
quill unscramble \$(quill scramble 'C:\\x'); printf 'a\\000b\\n' | quill scramble; quill unscramble 5" <<'END_OF_OUTPUT'
524c54
abc
0R0
abc
C:\x
quill scramble: a NUL byte in the text
quill unscramble: character 2: expected hexadecimal digits, two a byte
END_OF_OUTPUT

expect 0 "quill fqln build campus b1 r.3 ap7; quill fqln split 'campus.b1.r\\.3.ap7'
quill fqln split --json a.b.c." <<'END_OF_OUTPUT'
campus.b1.r\.3.ap7
campus
b1
r.3
ap7
["a","b","c",""]
END_OF_OUTPUT

expect 1 "quill addr 001b.63aa.bbcc 10.0.0.1/17 fe80::1/64 1.2.3
quill addr --json 2001:db8::1 nowhere" <<'END_OF_OUTPUT'
001b.63aa.bbcc
  kind         MAC
  colons       00:1b:63:aa:bb:cc
  hyphens      00-1B-63-AA-BB-CC
  plain        001b63aabbcc
  multicast    no
  local        no

10.0.0.1/17
  kind         IPv4
  dotted       10.0.0.1
  hexadecimal  0x0a000001
  unicast      yes
  mask         255.255.128.0

fe80::1/64
  kind         IPv6
  short        fe80::1
  long         fe80:0000:0000:0000:0000:0000:0000:0001
  inet_ntop    fe80::1
  link-local   yes
  site-local   no
  mask         ffff:ffff:ffff:ffff::
quill addr: "1.2.3" is not an address: expected a MAC, IPv4 or IPv6 address
{"kind":"IPv6","short":"2001:db8::1","long":"2001:0db8:0000:0000:0000:0000:0000:0001","inet_ntop":"2001:db8::1","link-local":false,"site-local":false}
quill addr: "nowhere" is not an address: expected a MAC, IPv4 or IPv6 address
END_OF_OUTPUT

expect 0 "quill argv \"set name 'north wing' vlan\\\\ 20\"
printf '%s\\n' \"a 'b \\\"c' ''\" x | quill argv --json" <<'END_OF_OUTPUT'
  0  set
  1  name
  2  north wing
  3  vlan 20
joined: set name "north wing" "vlan 20"
{"words":["a","b \"c",""],"joined":"a \"b \\\"c\" "}
{"words":["x"],"joined":"x"}
END_OF_OUTPUT

expect 1 "quill fqln build 'a\\b' c d e" <<'END_OF_OUTPUT'
quill fqln: "a\b" does not come back from a name: it is too long, or has a backslash
END_OF_OUTPUT

# --- this machine, whatever it has

expect 0 "quill info | grep -c '^  [a-z/]'; quill info --json | tr ',' '\\n' | grep -c '\":'" <<'END_OF_OUTPUT'
21
21
END_OF_OUTPUT
expect 0 "rm -f state; quill dump state 2>&1 | sed 's/[0-9]* bytes/N bytes/' | sort -u; test -s state" <<'END_OF_OUTPUT'
N bytes
state: N bytes
END_OF_OUTPUT
expect 1 "quill dump --quiet nowhere/state" <<'END_OF_OUTPUT'
quill dump: cannot write nowhere/state: No such file or directory
END_OF_OUTPUT

expect 1 "quill regtable verify nowhere 2>&1 | tail -n 1; quill regtable version nowhere 2>&1 | tail -n 1
quill regtable verify --json nowhere 2>/dev/null" <<'END_OF_OUTPUT'
quill regtable: nowhere: the file cannot be opened, or its sections not be put into files (-97)
quill regtable: nowhere: the file cannot be opened (-1)
{"file":"nowhere","valid":false,"version":null,"code":-97}
END_OF_OUTPUT
printf '%s\n' '-----BEGIN FILE-----' 'table' '-----END FILE-----' '-----BEGIN VERSION-----' '1.0.7' \
    '-----END VERSION-----' >unsigned
expect 0 "quill regtable version unsigned; quill regtable version --json unsigned" <<'END_OF_OUTPUT'
1.0.7
{"file":"unsigned","version":"1.0.7"}
END_OF_OUTPUT
expect 1 "quill regtable version message.txt; quill regtable unpack nowhere.gz out; cp message.txt p.gz
quill regtable unpack p.gz out" <<'END_OF_OUTPUT'
quill regtable: message.txt: no version section
quill regtable: cannot read nowhere.gz: No such file or directory
quill regtable: p.gz is not a whole gzip file
END_OF_OUTPUT
printf '#!/bin/sh\necho "signs: $*"\n' >bin/sign-reg-table
chmod +x bin/sign-reg-table
expect 0 "quill regtable sign --key a --json b" <<'END_OF_OUTPUT'
signs: --key a --json b
END_OF_OUTPUT

# --- what all commands have in common

# A message is not written to a terminal.
on_terminal 'quill encode message.txt; echo status $?'
grep -q 'a message is not for a terminal' screen && grep -qx 'status 2' screen ||
    complain "quill encode writes to a terminal"

# Control characters in a text do not reach the terminal.
printf '\000\000\005\033[31m' >hostile
expect 0 "quill decode hostile" <<'END_OF_OUTPUT'
offset  kind       length  value
     0  str             8  "\x1b[31m"
END_OF_OUTPUT

printf '\000\000\002\302\233' >hostile
expect 0 "quill decode --json hostile" <<'END_OF_OUTPUT'
{"length":5,"elements":[{"offset":0,"kind":"str","length":5,"value":"\u009b"}],"damage":null}
END_OF_OUTPUT

# Colours are used only on terminals that can show them, and never with NO_COLOR.
escape=$(printf '\033')
is_coloured() { grep -qF "${escape}[" "$1"; }
quill decode message >piped.out
! is_coloured piped.out || complain "colours in a pipe"
on_terminal 'quill decode message; quill foo'
is_coloured colours || complain "no colours on a terminal"
on_terminal 'NO_COLOR=1 quill decode message; NO_COLOR=1 quill foo; TERM=dumb quill decode message'
! is_coloured colours || complain "colours although they are disabled"

# Each command has a help text with an example of that command.
for command in $(quill --help | sed -n 's/^  \([a-z][a-z0-9-]*\) .*/\1/p'); do
    quill "$command" --help >help && quill help "$command" | cmp -s - help || complain "quill $command --help"
    grep -q "^usage: quill $command" help || complain "quill $command --help has no usage"
    grep -q "^example: .*quill $command" help || complain "quill $command --help has no example"
    [ "$(awk '{ print length }' help | sort -n | tail -n 1)" -le 80 ] || complain "quill $command --help is too wide"
    grep -E '^(usage:|       quill)' help | grep -oE -e '--[a-z][a-z-]*' | sort -u >used
    quill --complete "$command" | cut -f 1 | sort | comm -13 - used | grep . &&
        complain "quill $command --help does not tell what these are for"
    ! quill "$command" --nonsense a b c d e f g >/dev/null 2>&1 </dev/null || complain "quill $command --nonsense"
done
expect 2 "quill hmac --key a --key=b; quill decode --hex --hex -x; quill nothing
quill decode --names a...,b
quill vlan --nonsense 1" <<'END_OF_OUTPUT'
quill hmac: --key is given twice
usage: quill hmac [--json] (--key TEXT | --key-hex HEX | --key-file KEY) [FILE]
quill decode: no option "-x"
usage: quill decode [--hex | --lines] [--names NAMES] [--pcap OUT]
                    [--plain | --json] [FILE]
quill: no command "nothing"; quill --help lists them
quill decode: --names: expected names with commas between them
usage: quill decode [--hex | --lines] [--names NAMES] [--pcap OUT]
                    [--plain | --json] [FILE]
quill vlan: no option "--nonsense"
usage: quill vlan [--count | --expand | --json] [not] SET [+|- [not] SET]...
END_OF_OUTPUT
expect 2 "quill fqln join a; quill fqln build a --json b c d; quill version eol 4.1.0.0" <<'END_OF_OUTPUT'
quill fqln: no operation "join"
usage: quill fqln split [--json] NAME
       quill fqln build PART1 PART2 PART3 PART4
quill fqln: no option "--json"
usage: quill fqln split [--json] NAME
       quill fqln build PART1 PART2 PART3 PART4
quill version: too few arguments
usage: quill version compare [--json] VERSION VERSION
       quill version range [--json] LOWEST FIRST_ABOVE VERSION
       quill version eol [--json] VERSION MODEL
END_OF_OUTPUT
expect 0 "quill vlan -- 1-3" <<'END_OF_OUTPUT'
1-3
END_OF_OUTPUT
[ ! -w /dev/full ] || { ! quill vlan 1 >/dev/full 2>err && grep -q 'cannot write' err; } ||
    complain "a full disk is not told"

# Completion in the installed shells, and the manual page, agree with the help texts.
mkdir nothing
complete_in() { # complete_in SHELL LINE: the choices for the line's last word
    case $1 in
    bash) bash -c '. "$1"; read -ra COMP_WORDS <<<"$2"; [ "${2% }" = "$2" ] || COMP_WORDS+=("")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quill; printf "%s\n" "${COMPREPLY[@]}"' bash "$source/tools/quill/quill.bash" "$2" ;;
    zsh) zsh -fc 'words=("${(@s: :)2}") CURRENT=$#words PREFIX=$words[-1]
        _describe() { print -rl -- ${(M)${(P)2}:#$PREFIX*}; }; . "$1"' zsh "$source/tools/quill/quill.zsh" "$2" ;;
    fish) fish --no-config -c 'source $argv[1]; cd nothing; complete -C $argv[2]' "$source/tools/quill/quill.fish" "$2" ;;
    esac | sed 's/[:[:blank:]].*//' | sort | paste -sd ' '
}
for shell in bash zsh fish; do
    command -v $shell >/dev/null || { echo "not tried: completion, no $shell"; continue; }
    for words in 'quill de:decode' 'quill help v:version vlan' 'quill decode --j:--json' \
        'quill encode --:--help --hex --json' 'quill fqln :build split' 'quill listen --type :'; do
        got=$(complete_in $shell "${words%:*}")
        [ "$got" = "${words#*:}" ] || complain "completion of ${words%:*} by $shell: $got"
    done
done
"$source/tools/quill/make-manual" quill | diff "$source/tools/quill/quill.1" - ||
    complain "tools/quill/quill.1 is old; tools/quill/make-manual says how it is renewed"

# The examples of the README.
sed -n '/^## On the command line/,/^## A/s/^    //p' "$source/README.md" >shown
sed -n 's/^\$ //p' shown >commands
[ -s commands ] || complain "the README shows no command"
sh ./commands 2>&1 | sed 's/ *$//' >got
grep -v '^\$ ' shown | diff - got || complain "what the README shows"

echo "$checks commands, each through a pipe and on a terminal; $failures failures"
[ $failures -eq 0 ]
