#!/usr/bin/env bash
# Checks that the documentation matches the code. docs/trace.md has exactly the texts that the program can
# write, and its numbers are those of the SDK. Each row of docs/kept-behaviour.md names a case, or says why
# there can be none. Files and headings that a page names exist. The README is not too long. Takes no
# arguments.
# shellcheck disable=SC2016 # the backticks are those of Markdown
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. tools/pages.sh
script_arguments 0 "$@"
setup_packages "${setup_compiler[@]}" git
failed=0

# report WHAT LINES: reports what is wrong, if anything is.
report() {
    [ -z "$2" ] || { printf '%s:\n%s\n' "$1" "$2" && failed=1; }
}

# missing_from LIST WANTED: the lines of WANTED that LIST lacks.
missing_from() {
    grep -vxFf <(echo "$1") <<<"$2" || true
}

texts=$(git ls-files -z 'src/*.cpp' | xargs -0 cat | awk -f tools/trace_texts.awk | sort -u)
# A line of the page can have several texts.
listed=$(awk '/^```text$/ { inside = 1; next } /^```/ { inside = 0 } inside' docs/trace.md |
    sed 's| / |\n|g' | sort -u)
report "docs/trace.md lacks texts of the program" "$(missing_from "$listed" "$texts")"
report "docs/trace.md has texts that the program lacks" "$(missing_from "$texts" "$listed")"

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
report "docs/trace.md has numbers that are not those of the SDK" "$wrong"
[ -n "$numbers" ] || report "docs/trace.md" "no table of numbers"

# Cases and tests by their names: file.case, Suite.Test, and the traces that are made into cases.
cases=$(
    awk '/^case / { file = FILENAME; sub(/.*\//, "", file); sub(/\.txt$/, "", file); print file "." $2 }' \
        tests/cases/*.txt
    sed -n 's/^TEST\(_F\)\?(\([A-Za-z]*\), \([A-Za-z0-9]*\)).*/\2.\3/p' tests/*.cpp
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md | sed -n 's/^case /run_traces./p'
)
named=$(sed -n 's/.*| \([^|]*\) |$/\1/p' docs/kept-behaviour.md | grep -o '`[A-Za-z_0-9]*\.[A-Za-z_0-9]*`' |
    tr -d '`' | sort -u)
report "docs/kept-behaviour.md names cases that do not exist" "$(missing_from "$cases" "$named")"

rows=$(grep '^| ' docs/kept-behaviour.md | grep -v '^| What ' |
    grep -vE '\| [^|]*(`[A-Za-z_0-9]+\.[A-Za-z_0-9]+`|none: )[^|]*\|$') || true
report "docs/kept-behaviour.md has rows without a case" "$rows"

# missing_files PAGE: the files of the checkout that it names and that do not exist.
missing_files() {
    local folders='src|machine|simulation|resources|sandbox|rehearsal|tests|tools|docs|cmake' name
    { grep -oE "\`($folders)/[A-Za-z_./-]+\`" "$1" || true; } | tr -d '`' | sort -u |
        while IFS= read -r name; do
            [ -e "$name" ] || echo "$name"
        done
}

for page in README.md CONTRIBUTING.md CHANGELOG.md SECURITY.md tests/README.md docs/*.md; do
    report "$page names files that do not exist" "$(missing_files "$page")"
    report "$page has broken links" "$(broken_links "$page")"
done
lines=$(wc -l <README.md)
((lines <= 200)) || report "README.md is longer than 200 lines" "$lines"
((failed == 0)) || script_fail "Documentation: does not match the code"
echo "Documentation: matches the code"
