#!/bin/sh
# check_layers.sh SOURCE_DIR
# Imports point one way: a family uses base, its own folder and the families named here.
set -eu
cd "$1"

# folder, the public headers and internal folders that it may include besides base and types.h
allowed() {
    case $1 in
        base) echo ;;
        containers) echo list ;;
        hash) echo hash hash_keyed list ;;
        codec) echo codec sxdr sxdr_safe ;;
        alloc) echo vmap idx_table vlan_alloc hash sxdr ;;
        *) echo "unknown folder src/$1: say in check_layers.sh what it may include" >&2; exit 1 ;;
    esac
}

bad=0
for folder in src/*/; do
    name=$(basename "$folder")
    may=$(allowed "$name")
    found=$(sed -n 's|^#include <quill/\(.*\)\.h>.*|\1|p; s|^#include "\([a-z]*\)/.*|\1|p' "$folder"* | sort -u)
    for include in $found; do
        case " $may $name base types " in
            *" $include "*) ;;
            *) echo "src/$name includes $include"; bad=1 ;;
        esac
    done
done
for file in include/quill/*.h; do
    sed -n 's|^#include "\(.*\)".*|\1|p' "$file" | grep . && { echo "$file includes by quotes"; bad=1; }
done
exit $bad
