#!/bin/sh
# check_readme.sh SOURCE_DIR
# The programs that README.md and the guides show are the same as the programs that are built and run.
set -eu
cd "$1"

# shows PAGE PROGRAM [N]: the page shows the program as its N-th block of that language (by default the first)
shows() {
    shown=$(awk -v "start=\`\`\`${2##*.}" -v "n=${3-1}" \
        '$0 == "```" { on = 0 } on; $0 == start { on = ++count == n }' "$1")
    [ "$shown" = "$(cat "$2")" ] || { echo "$1 does not show $2 as it is"; exit 1; }
}

shows README.md examples/vlan_sets/vlan_sets.c
shows README.md examples/vlan_sets/vlan_sets.cpp
shows docs/getting-started.md examples/vlan_sets/vlans.c
shows docs/getting-started.md examples/stationd/stationd.c 2
shows docs/running-commands.md examples/who_answers/who_answers.c
shows docs/wire-formats.md examples/wire_formats/write_message.c
shows docs/wire-formats.md examples/wire_formats/message.hex
shows docs/wire-formats.md examples/wire_formats/read_message.txt
shows docs/choosing-a-container.md examples/sightings/sightings.c
