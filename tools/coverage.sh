#!/usr/bin/env bash
# Prints which lines and branches of src/ the tests reach, and each branch that they do not.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. sandbox/sandbox.sh
export WINEPREFIX=$PWD/build/sandbox/coverage

setup_build
setup_packages googletest gcovr
build coverage
find build/coverage -name '*.gcda' -delete
sandbox_make build/coverage
cp -r tests/cases "$WINEPREFIX/drive_c/sandbox/"
trap sandbox_stop EXIT
sandbox_wine build/coverage/tests/norvane_tests.exe --gtest_brief=1

report() {
    gcovr --root . --filter src/ --gcov-executable x86_64-w64-mingw32-gcov-posix \
        --exclude-throw-branches --exclude-unreachable-branches build/coverage "$@"
}
report
report --branches
cat tools/uncovered.txt
