#!/bin/sh
# Runs a program, which has to end with status 0 and to write to STREAM, out or err, what stands in the file EXPECTED:
# run_and_compare.sh STREAM EXPECTED COMMAND...
# ctest itself ignores the status of a test whose output it matches.
set -eu
stream=$1 expected=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
"$@" >"$work/out" 2>"$work/err" || status=$?
same=yes
diff -u "$expected" "$work/$stream" >&2 || same=
[ "$status" -ne 0 ] || [ -z "$same" ] || exit 0

echo "$*: ends with status $status${same:+, and its output is as expected}; it wrote" >&2
cat "$work/out" "$work/err" >&2
exit 1
