#!/bin/sh
# check_layers.sh SOURCE_DIR
# Imports point one way: a family uses base, its own folder and the families named here. The picture in
# docs/architecture.md shows which folders use which, besides base.
set -eu
cd "$1"

# What a folder may include besides itself, base/ and types.h: public headers of its own and of others.
allowed() {
    case $1 in
        base) echo ;;
        hash) echo quill/hash quill/hash_keyed quill/list quill/component_log quill/syslog ;;
        containers) echo quill/list quill/savl quill/savle quill/rbtree quill/btree quill/smss ;;
        codec) echo quill/sxdr quill/sxdr_safe ;;
        alloc) echo quill/vmap quill/idx_table quill/vlan_alloc quill/hash quill/sxdr ;;
        syslog) echo quill/syslog ;;
        text) echo quill/address quill/ipv6 quill/validators quill/names quill/location ;;
        proc) echo quill/pipe quill/command quill/argv ;;
        platform)
            echo quill/ap_image quill/ap_version quill/cell_profiles quill/cfgm quill/command quill/flash \
                quill/identity quill/machine_info quill/storage
            ;;
        security) echo quill/md5 quill/reg_table quill/scramble quill/web_category ;;
        tlv) echo quill/tlv ;;
        *) echo "unknown folder src/$1: say in check_layers.sh what it may include" >&2; exit 1 ;;
    esac
}

bad=0
for folder in src/*/; do
    name=$(basename "$folder")
    may=$(allowed "$name")
    found=$(sed -n 's|^#include <\(quill/.*\)\.h>.*|\1|p; s|^#include "\([a-z]*/\).*|\1|p' "$folder"*.* | sort -u)
    for include in $found; do
        case " $may $name/ base/ quill/types " in
            *" $include "*) ;;
            *) echo "src/$name includes $include"; bad=1 ;;
        esac
    done
done

# The program is one like those of others.
inside=$(grep -n '^#include ".*/' tools/quill/*.cpp tools/quill/*.h) && { echo "tools/quill looks inside: $inside"; bad=1; }

# The folder of a public header is that of the source with its stem.
imports() {
    for folder in src/*/; do
        name=$(basename "$folder")
        for stem in $(sed -n 's|^#include <quill/\(.*\)\.h>.*|\1|p' "$folder"*.* | sort -u); do
            source=$(find src -name "$stem.cpp")
            case $source in '' | "$folder"*) ;; *) echo "$name --> $(basename "$(dirname "$source")")" ;; esac
        done
    done | sort -u
}
drawn=$(sed -n 's/^ *\([a-z]* --> [a-z]*\)$/\1/p' docs/architecture.md | grep -v -e '--> base$' | sort)
[ "$drawn" = "$(imports)" ] || { echo "docs/architecture.md draws"; echo "$drawn"; echo "and the sources have"; imports; bad=1; }
for file in include/quill/*.h; do
    sed -n 's|^#include "\(.*\)".*|\1|p' "$file" | grep . && { echo "$file includes by quotes"; bad=1; }
done
exit $bad
