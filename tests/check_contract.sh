#!/bin/sh
# Checks the sentences of the contract and the tests against each other:
# check_contract.sh CONTRACT FOLDER_OF_TEST_PROGRAMS
set -eu
export LC_ALL=C
contract=$1
folder=$2
held="loading manager outofmemory pluginfaults threads"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
complaints=$work/complaints

# Each sentence is an item of a list; the tests that it names stand in backquotes.
awk -v complaints="$complaints" '
    function finish() {
        if (sentence != "" && !named)
            printf "line %d: no test is named: %s\n", line, substr(sentence, 1, 60) > complaints
        sentence = ""
    }
    /^- / { finish(); sentence = $0; line = NR; named = 0; text = "" }
    /^(#|$)/ { finish() }
    sentence != "" {
        text = text " " $0
        while (match(text, /`[a-z]+::[A-Za-z0-9_]+(\([^`]*\))?`/)) {
            name = substr(text, RSTART + 1, RLENGTH - 2)
            text = substr(text, RSTART + RLENGTH)
            if (name ~ /^std::/)
                continue
            print name
            named = 1
        }
    }
    END { finish() }' "$contract" | sort -u >"$work/named"
[ -s "$work/named" ] || echo "no test is named at all" >>"$complaints"

# What the programs themselves say they have.
sed 's/::.*//' "$work/named" | sort -u | while read -r program; do
    if [ "$program" = ctest ]; then
        find "$(dirname "$0")" -name CMakeLists.txt -exec \
            sed -nE 's/.*(add_test\(NAME |stbanalytics_output_test\()([a-z_]*) .*/ctest::\2/p' {} +
        continue
    fi
    if [ ! -x "$folder/tst_$program" ]; then
        echo "there is no program tst_$program" >>"$complaints"
        continue
    fi
    "$folder/tst_$program" -functions | sed "s/^/$program::/; s/()\$//"
    "$folder/tst_$program" -datatags | sed -n "s/^[^ ]* \([^ ]*\) \(.*\)/$program::\1(\2)/p"
done | sort -u >"$work/there"

comm -23 "$work/named" "$work/there" | sed 's/^/there is no test /' >>"$complaints"

sed 's/(.*//' "$work/named" | sort -u >"$work/functions"
for program in $held; do
    grep "^$program::[^(]*\$" "$work/there"
done | sort -u | comm -23 - "$work/functions" | sed 's/^/no sentence names /' >>"$complaints"

if [ -s "$complaints" ]; then
    sed "s|^|$contract: |" "$complaints" >&2
    exit 1
fi
echo "$(wc -l <"$work/named") tests named, all there"
