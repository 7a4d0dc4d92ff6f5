#!/bin/sh
# Compares what a shared library exports with the list under review: check_symbols.sh LIBRARY LIST
# Weak symbols of the standard library's own and what sanitizers add are not ours.
set -eu

exported=$(mktemp)
trap 'rm -f "$exported"' EXIT
nm -D --defined-only --format=posix "$1" | awk '{ print $2, $1 }' | c++filt | grep -vE '^V .* for std::|__odr_asan' |
    LC_ALL=C sort -u >"$exported"

if ! diff -u "$2" "$exported"; then
    echo "$1: exports differ from $2" >&2
    exit 1
fi
