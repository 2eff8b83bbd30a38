#!/bin/sh
# The README's fleet question: a capture table made from a log loads into
# SQLite's command line, and the query counts every row of it.
# usage: check_fleet_query.sh ZSL_REPLAY_COMMAND QUERY.sql
set -eu
replay=$1
query=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
$replay --write-logcat device.log >/dev/null 2>&1
$replay explain device.log device.log --table captures.csv >/dev/null
rows=$(($(wc -l <captures.csv) - 1))
counted=$(sqlite3 -csv :memory: <"$query" | awk -F, '{ n += $3 } END { print n }')
echo "table rows: $rows, captures counted by the query: $counted"
[ "$rows" -gt 0 ] && [ "$rows" -eq "$counted" ]
