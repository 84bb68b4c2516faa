#!/usr/bin/env bash
# Checks that includes point one way: src <- machine <- simulation <- rehearsal <- rehearsal/report. sandbox,
# tests and tools include these; tests also include sandbox, and rehearsal/main.cpp the report. Files do not
# form a circle; a header and its .cpp are one file. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}" git googletest
build checked
failed=0

# Lines "FILE HEADER" that the layout allows, as regular expressions.
allowed='^src/.* src/
^machine/.* (src|machine)/
^simulation/.* (src|machine|simulation)/
^rehearsal/.* ((src|machine|simulation)/|rehearsal/[^/]*$)
^rehearsal/(report/.*|main\.cpp) rehearsal/report/
^sandbox/.* (src|machine|simulation|rehearsal|sandbox)/
^tests/.* (src|machine|simulation|rehearsal|sandbox|tests)/
^tools/.* (src|machine|simulation|rehearsal|tools)/'

# not_allowed: the lines "FILE HEADER" of its input that the layout does not allow.
not_allowed() {
    grep -vEf <(echo "$allowed") || true
}

# pairs: lines "FILE HEADER" for all files of the project that a file reads, itself included. Its input has a
# line with a colon for each object, followed by the files that the compiler read for it.
pairs() {
    awk -v top="$PWD/" 'NR == FNR { known[$1]; next }
        { sub(/^ */, "") }
        index($0, top) == 1 { $0 = substr($0, length(top) + 1) }
        /:/ { file = ""; next }
        file == "" { file = $1 }
        file in known && $1 in known { print file, $1 }' <(echo "$files") -
}

files=$(git grep -l '' -- '*.cpp' '*.h')
read_by_objects=$(ninja -C build/checked -t deps | pairs)
# Headers without a .cpp, and files that this build does not compile.
mapfile -t alone < <(grep -vxEf <(cut -d ' ' -f 1 <<<"$read_by_objects" | sed 's/cpp$/(cpp|h)/') <<<"$files")
read_alone=$(x86_64-w64-mingw32-g++-posix -std=c++20 -MM -I . -I src -I tests \
    -isystem /usr/src/googletest/googletest/include "${alone[@]}" | sed 's/^.*: /&\n/' | tr ' ' '\n' | pairs)
reads=$(sort -u <<<"$read_by_objects"$'\n'"$read_alone")

wrong=$(not_allowed <<<"$reads")
if [ -n "$wrong" ]; then
    failed=1
    # Of the files that read such a header, those that include it themselves.
    echo "Includes that the layout does not allow:"
    cut -d ' ' -f 2 <<<"$wrong" | sort -u | while read -r header; do
        git grep -lE "^ *# *include *[<\"](\.\./)*(${header//\//\/)?(})[>\"]" -- '*.cpp' '*.h' |
            sed "s|\$| $header|"
    done | not_allowed | grep . || echo "$wrong"
fi
# tsort names the files of each circle on standard error; the order itself is of no interest.
circle=$(sed -E 's/\.(cpp|h)\>//g' <<<"$reads" | tsort 2>&1 >/dev/null |
    sed -n '2,${/ a loop:$/q; s/^tsort: //p}' || true)
[ -z "$circle" ] || { printf 'Files that include one another in a circle:\n%s\n' "$circle" && failed=1; }
((failed == 0)) || script_fail "Includes: not as the layout allows"
echo "Includes: as the layout allows"
