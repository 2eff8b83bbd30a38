#!/bin/sh
# The README stays a front door (at most 150 lines, none of them a wall of
# text), and every relative link in it and in docs/ leads to a file of the
# repository.
# usage: check_docs.sh SOURCE_DIR
set -eu
cd "$1"
failed=0
lines=$(wc -l <README.md)
[ "$lines" -le 150 ] || { echo "README.md has $lines lines (at most 150: the rest belongs in docs/)"; failed=1; }
awk 'length > 300 { printf "README.md:%d: %d characters\n", NR, length; bad = 1 } END { exit bad }' README.md || failed=1
for page in README.md docs/*.md; do
    dir=$(dirname "$page")
    for target in $(grep -o '](\([^)#:]*\)[)#]' "$page" | sed 's/^](//; s/[)#]$//'); do
        [ -e "$dir/$target" ] || { echo "$page: link to $target, which does not exist"; failed=1; }
    done
done
exit $failed
