#!/bin/sh
# The man pages as man shows them at 80 columns: each has the sections a man
# reader expects, no line runs past 80 columns, groff has no warning, and
# each subcommand's page lists every option its --help lists.
# usage: check_man_pages.sh MAN_DIR ZSL_REPLAY
set -eu
dir=$1
replay=$2
failed=0
for page in "$dir"/*.1.gz; do
    name=$(basename "$page" .1.gz)
    shown=$(MANWIDTH=80 man --warnings -l "$page" 2>"$dir/$name.warnings")
    if [ -s "$dir/$name.warnings" ]; then
        echo "$name: groff warns:"; cat "$dir/$name.warnings"; failed=1
    fi
    long=$(printf '%s\n' "$shown" | awk 'length > 80')
    if [ -n "$long" ]; then
        echo "$name: lines past 80 columns:"; printf '%s\n' "$long"; failed=1
    fi
    for section in NAME SYNOPSIS DESCRIPTION OPTIONS "EXIT STATUS" ENVIRONMENT EXAMPLES "SEE ALSO"; do
        printf '%s\n' "$shown" | grep -qx "$section" || { echo "$name: no $section section"; failed=1; }
    done
    subcommand=${name#zsl-replay-}
    [ "$subcommand" = "$name" ] && continue
    options=$(printf '%s\n' "$shown" | sed -n '/^OPTIONS$/,/^EXIT STATUS$/p')
    for option in $($replay "$subcommand" --help | sed -n 's/^ *\(-[a-z],\)\{0,1\}\(--[a-z-]*\).*/\2/p' | sort -u); do
        printf '%s\n' "$options" | grep -qE -- "^ *$option( |,|\$)|, $option( |\$)" ||
            { echo "$name: $option of --help is not among its options"; failed=1; }
    done
done
[ "$(ls "$dir"/*.1.gz | wc -l)" -eq 7 ] || { echo "expected 7 pages in $dir"; failed=1; }
exit $failed
