#!/usr/bin/env bash
# Holds the papers against the code: docs/trace.md has every text that the program can write, and no other, and its numbers are
# those of the SDK; each row of docs/kept-behaviour.md names a case that is there, or says why none can be; what a paper names or
# links to is there; the README is not too long. Takes no words.
# shellcheck disable=SC2016 # the backticks are those of Markdown
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
setup_packages "${setup_compiler[@]}" git
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

# The table of numbers: "| 10022 | `WSAEINVAL` | ...", or eight hexadecimal digits.
numbers=$(sed -n 's/^| \([0-9A-F]*\) | `\([A-Z_0-9]*\)`.*/\1 \2/p' docs/trace.md)
wrong=$(
    {
        printf '#include <%s>\n' winsock2.h windows.h netcfgx.h
        while read -r number name; do
            ((${#number} == 8)) && number=0x$number
            echo "static_assert(static_cast<unsigned>($name) == $number, \"$number $name\");"
        done <<<"$numbers"
    } | x86_64-w64-mingw32-g++-win32 -std=c++20 -fsyntax-only -x c++ - 2>&1 | grep -E 'error: ' || true
)
complain "docs/trace.md has numbers that are not those of the SDK" "$wrong"
[ -n "$numbers" ] || complain "docs/trace.md" "no table of numbers"

# Cases and tests by their names: file.case, Suite.Test, and the traces that are made into cases.
cases=$(
    awk '/^case / { file = FILENAME; sub(/.*\//, "", file); sub(/\.txt$/, "", file); print file "." $2 }' tests/cases/*.txt
    sed -n 's/^TEST\(_F\)\?(\([A-Za-z]*\), \([A-Za-z0-9]*\)).*/\2.\3/p' tests/*.cpp
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md | sed -n 's/^case /run_traces./p'
)
named=$(sed -n 's/.*| \([^|]*\) |$/\1/p' docs/kept-behaviour.md | grep -o '`[A-Za-z_0-9]*\.[A-Za-z_0-9]*`' | tr -d '`' | sort -u)
complain "docs/kept-behaviour.md names cases that are not there" "$(missing_from "$cases" "$named")"

rows=$(grep '^| ' docs/kept-behaviour.md | grep -v '^| What ' | grep -vE '\| [^|]*(`[A-Za-z_0-9]+\.[A-Za-z_0-9]+`|none: )[^|]*\|$') || true
complain "docs/kept-behaviour.md has rows without a case" "$rows"

# anchors_of FILE: what its headings can be linked by.
anchors_of() {
    sed -n 's/^#\+ //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}

for paper in README.md CONTRIBUTING.md CHANGELOG.md tests/README.md docs/*.md; do
    # Links, and names of files of the checkout.
    names=$({ grep -o '](\([^)#]*\)' "$paper" | sed 's/^](//'
        grep -oE '`(src|machine|simulation|resources|sandbox|rehearsal|tests|tools|docs|cmake)/[A-Za-z_./-]+`' "$paper" | tr -d '`'; } | sort -u) || true
    complain "$paper names files that are not there" "$(for name in $names; do
        [[ $name == http* || -e $name || -e $(dirname "$paper")/$name ]] || echo "$name"
    done)"
    complain "$paper links to headings that are not there" "$({ grep -o '](\([^)]*#[^)]*\)' "$paper" || true; } | while read -r link; do
        file=${link#*(}
        file=${file%%#*}
        anchors_of "${file:+$(dirname "$paper")/}${file:-$paper}" | grep -xF "${link#*#}" >/dev/null || echo "$link)"
    done)"
done
lines=$(wc -l <README.md)
((lines <= 200)) || complain "README.md is longer than 200 lines" "$lines"
((failed == 0)) || script_fail "Papers: not as the code is"
echo "Papers: as the code is"
