#!/usr/bin/env bash
# Checks that dependencies point one way. tests, rehearsal, sandbox and tools include simulation, machine and
# src, but not one another; simulation includes machine and src; machine includes src. Files do not form a
# circle; a header and its .cpp are one file. The members of TraceLog are defined in src/trace only. Takes no
# arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
setup_packages git
failed=0

# report WHAT LINES: reports what is wrong, if anything is.
report() {
    [ -z "$2" ] || { printf '%s:\n%s\n' "$1" "$2" && failed=1; }
}

mapfile -t files < <(git ls-files '*.cpp' '*.h')
listed=$(printf '%s\n' "${files[@]}")
report "Includes that the layout does not allow" \
    "$(awk -v FILES=<(echo "$listed") -f tools/includes.awk "${files[@]}")"
# tsort names each circle on standard error; the order itself is of no interest.
pairs=$(awk -v PAIRS=1 -v FILES=<(echo "$listed") -f tools/includes.awk "${files[@]}")
report "Files that include one another in a circle" \
    "$(tsort <<<"$pairs" 2>&1 >/dev/null | sed 's/^tsort: //' || true)"
report "Members of TraceLog that are defined outside src/trace" \
    "$(grep -nE '^([^ /].*[ *&])?TraceLog::~?[A-Za-z_]+.*\(' "${files[@]}" | grep -v '^src/trace/' || true)"
((failed == 0)) || script_fail "Includes: not as the layout allows"
echo "Includes: as the layout allows"
