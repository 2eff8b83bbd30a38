#!/usr/bin/env bash
# The device build file names what the CMake build builds: the plug-in's
# name, the same sources (each of which exists), the export list, the
# libraries and flags the device needs. Arguments: the Android.bp, then the
# CMake target's sources.
set -eu
bp=$1
shift
dir=$(dirname "$bp")
fail() { echo "$bp: $*"; exit 1; }

srcs=$(sed -n 's/^ *srcs: *\[\(.*\)\],*$/\1/p' "$bp" | tr -d ' "' | tr ',' '\n' | sed '/^$/d' | sort)
[ -n "$srcs" ] || fail "no srcs"
for src in $srcs; do
    [ -f "$dir/$src" ] || fail "names $src, which does not exist"
done
cmake_srcs=$(for src in "$@"; do echo "${src#"$dir"/}"; done | sort)
[ "$srcs" = "$cmake_srcs" ] || fail "srcs [$(echo $srcs)] differ from the CMake build's [$(echo $cmake_srcs)]"

grep -q '^    name: "com.korvan.zsl.default",$' "$bp" || fail "the module is not named com.korvan.zsl.default"
script=$(sed -n 's/^ *version_script: *"\(.*\)",$/\1/p' "$bp")
[ -f "$dir/$script" ] || fail "version_script $script does not exist"
for needed in '"liblog"' '"libcutils"' '"libutils"' '"libui"' '"libcom.korvan.metadatautils"' '"libcom.korvan.debug"' \
    'vendor: true' 'rtti: false' 'compile_multilib: "64"' '"-Werror"' '"-fvisibility=hidden"'; do
    grep -qF "$needed" "$bp" || fail "lacks $needed"
done
echo "1 passed, 0 failed"
