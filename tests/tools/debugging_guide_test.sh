#!/bin/sh
# debugging_guide_test.sh SOURCE_DIR STATIOND QUILL CC: gdb, the program and the compiler print what
# docs/debugging-a-device.md shows.
set -u
source=$1 stationd=$2 quill=$3 cc=$4 guide=$1/docs/debugging-a-device.md
command -v gdb >/dev/null || { echo "skipped: no gdb"; exit 77; }
dir=$(mktemp -d)
trap 'kill $daemon 2>/dev/null; rm -rf "$dir"' EXIT
cd "$dir" || exit 1
"$stationd" "$dir/socket" 2>/dev/null &
daemon=$!
for _ in $(seq 100); do [ -S socket ] && break; sleep 0.05; done
"$stationd" socket 02:00:00:00:00:01 120 && "$stationd" socket 02:00:00:00:00:02 130 || exit 1

# In the guide, each command of a session follows the prompt of gdb. The output of the command follows the command.
sed -n '/^    \$ gdb -p/,/^$/s/^    //p' "$guide" | sed '1d; s/^(gdb) /+/' >wanted
sed -n 's/^+//p' wanted >commands
timeout 60 gdb -q -batch -nx -p "$daemon" -x "$source/tools/gdb/libquill-gdb.py" -ex 'set trace-commands on' -x commands \
    >got 2>errors </dev/null
! grep -q 'ptrace: ' errors || { echo "skipped: gdb cannot attach here"; exit 77; }
sed -n '/^+frame/,/^\[Inferior/p' got | grep -Ev '^(#|[0-9]|\[)' | diff wanted - || { cat errors; exit 1; }

sed -n '/^    \$ quill/,/^$/s/^    //p' "$guide" >wanted
{ head -n 1 wanted && eval "$(sed -n 's/^\$ quill/"$quill"/p' wanted)"; } 2>&1 | diff wanted - || exit 1
sed -n '/^```c$/,/^```$/{/^```/!p;}' "$guide" >program.c
"$cc" -Wall -Wextra -Werror -fsyntax-only -I "$source/include" program.c
