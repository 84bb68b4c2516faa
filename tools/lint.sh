#!/usr/bin/env bash
# Checks the format of every C++ file with clang-format, the code of the programs with clang-tidy (not the
# tests and the benchmark), the scripts with shellcheck, and that no line has more characters than
# .editorconfig allows. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}" git clang-format clang-tidy shellcheck googletest
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror || script_fail "Format: not clean"
git ls-files '*.sh' .ci/run | xargs shellcheck || script_fail "shellcheck: not clean"
# Tables and code blocks of Markdown, case files and the sample machine can have longer lines.
most=$(sed -n 's/^max_line_length = \([0-9]*\)$/\1/p' .editorconfig)
# shellcheck disable=SC2016 # the backticks are those of Markdown
long=$(git grep -Ilz '' -- . ':!tests/cases/*.txt' ':!tests/traces.txt' ':!sandbox/sample_*' | xargs -0 awk '
    FNR == 1 { page = FILENAME ~ /\.md$/; code = 0 }
    page && /^ *```/ { code = !code }
    !(page && (code || /^\|/)) { print FILENAME ":" FNR ":" $0 }' |
    { LC_ALL=C.UTF-8 grep -aE "^[^:]*:[^:]*:.{$((most + 1))}" || true; } | cut -d : -f 1,2)
[ -z "$long" ] || script_fail "$long
Lines of more than $most characters: $(wc -l <<<"$long")"
build checked
echo "Running clang-tidy ..." >&2
# clang does not know where mingw's g++ keeps its headers. For the headers of the compiler itself it uses its
# own.
mapfile -t includes < <(x86_64-w64-mingw32-g++-posix -E -v -x c++ /dev/null 2>&1 |
    sed -n '/^#include </,/^End/{/-posix\/include\(-fixed\)\?$/!s/^ /--extra-arg=-isystem/p}')
git ls-files '*.cpp' ':!tests' ':!tools' |
    xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/checked \
        --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-unknown-warning-option \
        --extra-arg=-Wno-unused-command-line-argument "${includes[@]}" \
        2> >(grep -v 'warnings generated' >&2) || {
    sleep 0.2 # until its output has arrived
    script_fail "clang-tidy: not clean"
}
echo "Format and lint: clean"
