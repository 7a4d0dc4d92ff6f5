#!/bin/sh
# Whether sources compile: compiles.sh COMPILER ARGUMENTS...
# Keeps nothing. A machine without the compiler skips.
set -eu
compiler=$1
shift
if ! command -v "$compiler" >/dev/null; then
    echo "skipped: no $compiler"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$compiler" -c "$@"
