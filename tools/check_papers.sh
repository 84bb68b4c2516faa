#!/usr/bin/env bash
# Holds the papers against the code: docs/trace.md has every text that the program can write, and no other; each case that
# docs/kept-behaviour.md names is there, and each file that a paper names or links to; the README is not too long. Takes no
# words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
setup_packages git
failed=0

# complain WHAT LINES: says what is wrong, if there is anything.
complain() {
    [ -z "$2" ] || { printf '%s:\n%s\n' "$1" "$2" && failed=1; }
}

# missing_from LIST WANTED: the lines of WANTED that LIST has not.
missing_from() {
    grep -vxFf <(echo "$1") <<<"$2" || true
}

texts=$(git ls-files -z 'src/*.cpp' | xargs -0 cat | awk -f tools/trace_texts.awk | sort -u)
listed=$(awk '/^```text$/ { inside = 1; next } /^```/ { inside = 0 } inside' docs/trace.md | sort -u)
complain "docs/trace.md lacks texts of the program" "$(missing_from "$listed" "$texts")"
complain "docs/trace.md has texts that the program lacks" "$(missing_from "$texts" "$listed")"

# Cases and tests by their names: file.case, Suite.Test, and the traces that are made into cases.
cases=$(
    awk '/^case / { file = FILENAME; sub(/.*\//, "", file); sub(/\.txt$/, "", file); print file "." $2 }' tests/cases/*.txt
    sed -n 's/^TEST\(_F\)\?(\([A-Za-z]*\), \([A-Za-z0-9]*\)).*/\2.\3/p' tests/*.cpp
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md | sed -n 's/^case /run_traces./p'
)
named=$(sed -n 's/.*| \([^|]*\) |$/\1/p' docs/kept-behaviour.md | grep -o '`[A-Za-z_0-9]*\.[A-Za-z_0-9]*`' | tr -d '`' | sort -u)
complain "docs/kept-behaviour.md names cases that are not there" "$(missing_from "$cases" "$named")"

for paper in README.md CONTRIBUTING.md CHANGELOG.md tests/README.md docs/*.md; do
    # Links, and names of files of the checkout.
    names=$({ grep -o '](\([^)#]*\)' "$paper" | sed 's/^](//'
        grep -oE '`(src|sandbox|rehearsal|tests|tools|docs|cmake)/[A-Za-z_./-]+`' "$paper" | tr -d '`'; } | sort -u) || true
    complain "$paper names files that are not there" "$(for name in $names; do
        [[ $name == http* || -e $name || -e $(dirname "$paper")/$name ]] || echo "$name"
    done)"
done
lines=$(wc -l <README.md)
((lines <= 200)) || complain "README.md is longer than 200 lines" "$lines"
((failed == 0)) || script_fail "Papers: not as the code is"
echo "Papers: as the code is"
