#!/bin/sh
# write_abi.sh LIBRARY SOURCE_DIR: writes the interface of a library: its names, parameters and the records that the
# public headers show. The library must have debugging information.
exec abidw --headers-dir "$2/include" --drop-private-types --exported-interfaces-only --no-corpus-path \
    --no-comp-dir-path --no-show-locs --no-parameter-names --type-id-style hash "$1"
