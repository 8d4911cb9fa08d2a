#!/bin/sh
# The shared object, and each family's part in it, is at most 3% larger than the kept size. If larger growth is
# intended, keep the new size.
# usage: check_size.sh SIZE_TOOL SHARED_OBJECT OBJECT_FOLDER COMPILER
# Kept sizes are bytes of code, constants and data. The test is skipped if no sizes are kept for the compiler.
tool=$1 shared=$2 objects=$3 compiler=$4
kept=$(dirname "$0")/sizes.txt
grep -q "^$compiler	" "$kept" || { echo "skipped: no sizes are kept for $compiler"; exit 77; }

now=$({
    "$tool" "$shared" | awk 'NR == 2 { print "all\t" $4 }'
    for folder in "$objects"/*/; do
        "$tool" "$folder"*.o |
            awk -v family="$(basename "$folder")" 'NR > 1 { bytes += $4 } END { print family "\t" bytes }'
    done
} | sed "s/^/$compiler	/")
printf '%s\n' "$now" | awk -F '\t' -v kept="$kept" '
    BEGIN { while ((getline line < kept) > 0) { split(line, f, "\t"); was[f[1], f[2]] = f[3] } }
    {
        before = was[$1, $2]
        printf "%-12s %7d bytes, kept %7d\n", $2, $3, before
        if ($3 > before * 1.03) grown = grown " " $2
    }
    END { if (grown) { print "grown by more than 3%:" grown; exit 1 } }' && exit 0
printf 'if this is meant, these lines belong in %s:\n%s\n' "$kept" "$now"
exit 1
