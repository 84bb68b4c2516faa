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

tests=build/checked/tests/norvane_tests.exe
# Wine itself refuses one start in some thousands; that alone is tried again.
run_tests() {
    local log try
    log=$(mktemp)
    for try in 1 2 3; do
        sandbox_wine "$tests" "$@" 2> >(tee "$log" >&2) && rm "$log" && return
        grep -q 'failed to map the shared user data' "$log" || break
    done
    rm "$log"
    return 1
}

# The random catalogs once more with Wine's heap checking, which tells of every write out of bounds.
if [ $# = 0 ]; then
    heap=$(WINEDEBUG=warn+heap sandbox_wine "$tests" --gtest_brief=1 '--gtest_filter=*Random*' 2>&1)
    if grep -E '(err|warn):heap' <<<"$heap"; then
        echo "The heap was damaged." >&2
        exit 1
    fi
fi
run_tests "--gtest_filter=${1:-*}" --gtest_brief="${BRIEF:-0}"
