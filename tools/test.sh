#!/usr/bin/env bash
# Builds, and runs every test under Wine in a fresh prefix. Needs nothing but Debian 12.
# tools/test.sh [FILTER]: FILTER is a GoogleTest filter, such as '*Removal*'.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. sandbox/sandbox.sh
export WINEPREFIX=$PWD/build/sandbox/test

setup_build
setup_packages googletest
build release
build checked
sandbox_make build/release build/checked
cp -r tests/cases "$WINEPREFIX/drive_c/sandbox/"
trap sandbox_stop EXIT

# run_tests LOG WORDS...: runs the test program, with everything that it prints in LOG too. Wine itself refuses one start in
# some thousands; that alone is tried again.
run_tests() {
    local log=$1 try
    shift
    for try in 1 2 3; do
        sandbox_wine build/checked/tests/norvane_tests.exe "$@" 2>&1 | tee "$log" && return
        grep -q 'failed to map the shared user data' "$log" || return 1
    done
    return 1
}

# The random catalogs once more with Wine's heap checking, which tells of every write out of bounds.
if [ $# = 0 ]; then
    WINEDEBUG=warn+heap run_tests build/heap.log --gtest_brief=1 '--gtest_filter=*Random*'
    if grep -E '(err|warn):heap' build/heap.log; then
        echo "The heap was damaged." >&2
        exit 1
    fi
fi
run_tests build/tests.log "--gtest_filter=${1:-*}" --gtest_brief="${BRIEF:-0}"
