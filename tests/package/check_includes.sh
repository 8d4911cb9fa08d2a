#!/bin/sh
# Each source and header of the library includes what it uses, and nothing else.
# usage: check_includes.sh IWYU_TOOL BUILD SOURCE...
tool=$1 build=$2
shift 2
report=$("$tool" -p "$build" "$@" -- -Xiwyu --no_fwd_decls 2>&1)
for source; do
    printf '%s\n' "$report" | grep -qF "($source has correct #includes" ||
        printf '%s\n' "$report" | grep -q "^$source should add" || { echo "$source was not looked at"; failed=yes; }
done

# This advice does not apply: C++ names of C headers (quill/types.h and the C headers give the same names); internal
# headers of the C library instead of the documented ones; the owner template of base/memory.h; structures that are
# declared where a typedef names them.
wanted=$(printf '%s\n' "$report" | awk '
    / should (add|remove) these lines:/ { file = $1; next }
    /^The full include-list/ { file = ""; next }
    !file { next }
    /<(stdint.h|cstdint|stddef.h|cstddef|iosfwd|features.h|syscall.h|sys\/syscall.h|sys\/types.h|memory)>/ { next }
    /"base\/memory.h"|<bits\/|char_traits/ || /^struct / { next }
    /^#include / { print file ": lacks " $0 }
    /^- #include / { print file ": needs no " substr($0, 3) }' | sort -u)
[ -z "$wanted" ] || { printf '%s\n' "$wanted"; failed=yes; }
[ -z "$failed" ]
