#!/bin/sh
# Compares what a shared library exports with the list under review: check_symbols.sh LIBRARY LIST
# Weak symbols are ours only where they belong to our namespace; what sanitizers add is not ours either.
set -eu

exported=$(mktemp)
trap 'rm -f "$exported"' EXIT
nm -D --defined-only --format=posix "$1" | awk '{ print $2, $1 }' | c++filt |
    awk '($1 !~ /^[VWu]$/ || / analytics::/) && !/__odr_asan/' | LC_ALL=C sort -u >"$exported"

if ! diff -u "$2" "$exported"; then
    echo "$1: exports differ from $2" >&2
    exit 1
fi
