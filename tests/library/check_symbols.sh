#!/bin/sh
# Compares what a shared library exports with the list under review: check_symbols.sh LIBRARY LIST
# Weak symbols are ours only where they belong to our namespace; what sanitizers add is not ours either. The list is
# amd64's: elsewhere a class's data may be other than weak, and 64 bits are not a long.
set -eu

exported=$(mktemp)
trap 'rm -f "$exported"' EXIT
nm -D --defined-only --format=posix "$1" | awk '{ print $2, $1 }' | c++filt |
    awk '($1 !~ /^[VWu]$/ || / analytics::/) && !/__odr_asan/' |
    sed -e 's/^[DR] \(vtable\|typeinfo\|typeinfo name\) for /V \1 for /' -e '/duration</s/long long/long/; s/\([0-9]\)ll/\1l/g' |
    LC_ALL=C sort -u >"$exported"

if ! diff -u "$2" "$exported"; then
    echo "$1: exports differ from $2" >&2
    exit 1
fi
