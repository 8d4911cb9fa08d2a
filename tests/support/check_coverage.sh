#!/bin/sh
# check_coverage.sh SOURCE_DIR BUILD_DIR
# Writes the report of the code that the tests have run. The coverage must not be below the floor.
set -eu
mkdir -p "$2/report"
# A process that saves its counters while its threads count may save a branch as taken -5 times. gcovr would end at such
# a branch. With this option, gcovr continues without the branch.
gcovr --root "$1" --filter "$1/src/" --filter "$1/include/" --object-directory "$2" \
    --gcov-ignore-parse-errors --exclude-throw-branches --exclude-unreachable-branches \
    --html-details "$2/report/index.html" --txt "$2/report/summary.txt" --print-summary \
    --fail-under-line 98 --fail-under-branch 92 "$2" || status=$?
sed -n 's/^\(src.*\) \([0-9,-]*\)$/\1 \2/p' "$2/report/summary.txt" | grep -v '100% *$' || true
echo "report: $2/report/index.html"
exit "${status:-0}"
