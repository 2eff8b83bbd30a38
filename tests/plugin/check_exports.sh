#!/usr/bin/env bash
# The plug-in's only dynamic symbol of its own is the plain factory, and it
# carries no run-time type information.
set -eu
plugin=$1
own=$(nm -D --defined-only "$plugin" | awk '{print $3}')
if [ "$own" != "createZSLSelector" ]; then
    echo "exported symbols of $plugin are not just createZSLSelector:"
    echo "$own"
    exit 1
fi
if nm "$plugin" | grep -E ' _ZT[IS]' ; then
    echo "$plugin carries type information"
    exit 1
fi
echo "1 passed, 0 failed"
