#!/bin/sh
# check_layers.sh SOURCE_DIR
# The folders of src/ use each other exactly as the picture in docs/architecture.md shows. Each folder may also use
# base. A public header belongs to the folder that has the source with its stem.
set -eu
cd "$1"
export LC_ALL=C

# Both functions list every folder and every use of another folder: drawn from the picture, and used from the sources.
drawn() {
    sed -n 's/.* \([a-z]*\)\["\1: .*/\1/p; s/^ *\([a-z]* --> [a-z]*\)$/\1/p' docs/architecture.md | sort
}
used() {
    for folder in src/*/; do
        name=$(basename "$folder")
        echo "$name"
        stems=$(sed -n '/quill\/types/d; s|^#include <quill/\(.*\)\.h>.*|\1|p' "$folder"*.*)
        for stem in $stems; do
            owner=$(find src -name "$stem.cpp" | sed 's|src/\(.*\)/.*|\1|')
            [ "$owner" = "$name" ] || echo "$name --> ${owner:-unknown $stem}"
        done
        sed -n 's|^#include "\([a-z]*\)/.*|\1|p' "$folder"*.* | grep -vx -e base -e "$name" | sed "s|^|$name --> |"
    done | sort -u
}

bad=0
drawn=$(drawn) used=$(used)
[ "$drawn" = "$used" ] || {
    printf '%s\n' "docs/architecture.md draws" "$drawn" "and the sources have" "$used"
    bad=1
}

# The program uses only the public headers, as other programs do.
! grep -n '^#include ".*/' tools/quill/*.cpp tools/quill/*.h || { echo "tools/quill looks inside"; bad=1; }
for file in include/quill/*.h; do
    sed -n 's|^#include "\(.*\)".*|\1|p' "$file" | grep . && { echo "$file includes by quotes"; bad=1; }
done
exit $bad
