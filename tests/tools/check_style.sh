#!/bin/sh
# The house style, as .clang-format states it, held in zsl-replay's sources:
# every file laid out as clang-format lays it out. To fix a file:
#   clang-format -i FILE
# usage: check_style.sh CLANG_FORMAT SOURCE_DIR
set -eu
format=$1
cd "$2"
files=$(find tools/zsl-replay -name '*.cpp' -o -name '*.h' | sort)
[ -n "$files" ] || { echo "no sources found under tools/zsl-replay"; exit 1; }
# shellcheck disable=SC2086 # the files are words
"$format" --dry-run -Werror $files
echo "$(echo "$files" | wc -l) files in the house style"
