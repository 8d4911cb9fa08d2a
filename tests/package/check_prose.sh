#!/bin/sh
# check_prose.sh SOURCE_DIR
# Finds words that CONTRIBUTING.md, "Prose", replaces by others.
set -eu
cd "$1"
git rev-parse --git-dir >/dev/null 2>&1 || { echo "skipped: not a git checkout"; exit 77; }
# Some files are not searched: the passages of CONTRIBUTING.md show these words, cases and corpora are input, and this
# file has the list.
words='behind|anew|[Dd]eliberately|[Nn]obody|[Ss]omebody|stands?|for want of|(is|are) told|[Tt]here (is|are) none'
! git grep -nIwE "$words" -- \
    ':!CONTRIBUTING.md' ':!*.cases' ':!tests/fuzz/corpus' ':!debian/copyright' ':!tests/package/check_prose.sh' ||
    { echo "CONTRIBUTING.md, \"Prose\", has other words for these"; exit 1; }
