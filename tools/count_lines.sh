#!/usr/bin/env bash
# Counts the lines of code that are neither blank nor comment, and checks the share of the tests: at least a
# quarter of the whole, and at most 36 % of all other code. Counted are C++, scripts, case files and state
# files that git knows; not CMake, .def files and Markdown. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
setup_packages git
cpp_files='\.(c|cc|cpp|h|hpp|inl)$'
no_text_files="$cpp_files|\.md$|CMakeLists.txt|\.def$"

# count_code COMMENT GREP_ARGUMENTS...: the lines without blank ones and comments, of the listed files that
# grep selects. A file that is removed and not yet committed has none.
count_code() {
    { grep -E "${@:2}" || true; } | tr '\n' '\0' | { xargs -0r cat 2>/dev/null || true; } |
        grep -acvE "^[[:space:]]*($1.*)?$" || true
}

# count FOLDERS...: the same for folders: C++, and everything else that is code.
count() {
    local files
    files=$(git ls-files -- "$@")
    echo $(($(count_code // "$cpp_files" <<<"$files") + $(count_code '#' -v "$no_text_files" <<<"$files")))
}

product=$(count src)
surroundings=$(count resources machine simulation rehearsal sandbox tools)
tests=$(count tests)
other=$((product + surroundings))
# Tenths of a percent, the first rounded down and the second up, so that a share is never shown as better than
# it is.
of_whole=$((1000 * tests / (other + tests)))
of_other=$(((1000 * tests + other - 1) / other))

# as_percent TENTHS
as_percent() {
    echo "$(($1 / 10)).$(($1 % 10)) %"
}
printf '%6d  src\n' "$product"
printf '%6d  resources, machine, simulation, rehearsal, sandbox, tools\n' "$surroundings"
printf '%6d  tests with their case files: %s of the whole, %s of all other code\n' "$tests" \
    "$(as_percent "$of_whole")" "$(as_percent "$of_other")"
((of_whole >= 250)) || script_fail "Tests are less than a quarter of the whole."
((of_other <= 360)) || script_fail "Tests are more than 36 % of all other code."
