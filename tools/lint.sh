#!/usr/bin/env bash
# The format of every C++ file, clang-tidy's checks of .clang-tidy on all but the tests and the benchmark, and shellcheck on the scripts. Takes no
# words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}" git clang-format clang-tidy shellcheck googletest
build checked
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror || script_fail "Format: not clean"
git ls-files '*.sh' .ci/run | xargs shellcheck || script_fail "shellcheck: not clean"
# clang does not know where mingw's g++ keeps its headers; those for the compiler itself are clang's own.
mapfile -t includes < <(x86_64-w64-mingw32-g++-posix -E -v -x c++ /dev/null 2>&1 |
    sed -n '/^#include </,/^End/{/-posix\/include\(-fixed\)\?$/!s/^ /--extra-arg=-isystem/p}')
git ls-files 'src/*.cpp' 'machine/*.cpp' 'simulation/*.cpp' 'rehearsal/*.cpp' 'sandbox/*.cpp' | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/checked \
    --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-unknown-warning-option \
    --extra-arg=-Wno-unused-command-line-argument "${includes[@]}" 2> >(grep -v 'warnings generated' >&2) || {
    sleep 0.2 # what it said is to stand before the cause
    script_fail "clang-tidy: not clean"
}
echo "Format and lint: clean"
