#!/usr/bin/env bash
# Checks that no line has more characters than .editorconfig allows. Tables and code blocks of Markdown, case
# files and the sample machine are excepted. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
setup_packages git
most=$(sed -n 's/^max_line_length = \([0-9]*\)$/\1/p' .editorconfig)

# prose_of FILE: its lines, where tables and code blocks of Markdown are empty.
prose_of() {
    if [[ $1 == *.md ]]; then
        awk '/^ *```/ { code = !code } code || /^\|/ { $0 = "" } { print }' "$1"
    else
        cat "$1"
    fi
}

long=$(git ls-files -- . ':!tests/cases/*.txt' ':!sandbox/sample_*' | while IFS= read -r file; do
    [ ! -f "$file" ] || prose_of "$file" | LC_ALL=C.UTF-8 grep -nE "^.{$((most + 1))}" |
        sed "s|^\([0-9]*\):.*|$file:\1|" || true
done)
[ -z "$long" ] || script_fail "$long
Lines of more than $most characters: $(wc -l <<<"$long")"
echo "Line lengths: at most $most"
