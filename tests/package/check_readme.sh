#!/bin/sh
# check_readme.sh SOURCE_DIR
# The programs that README.md shows are those that are built and run.
set -eu
cd "$1"
for program in examples/vlan_sets/vlan_sets.c examples/vlan_sets/vlan_sets.cpp; do
    lang=${program##*.}
    shown=$(sed -n "/^\`\`\`$lang\$/,/^\`\`\`\$/{//!p;}" README.md)
    [ "$shown" = "$(cat "$program")" ] || { echo "README.md does not show $program as it is"; exit 1; }
done
