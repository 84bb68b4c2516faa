#!/usr/bin/env bash
# Prints which lines and branches of src/ the tests reach, and each branch that they do not reach. Fails on
# Debian 12 when the share falls below the one that is reached today; other compilers count in other ways.
# Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_arguments 0 "$@"

if sandbox_inside; then
    # The build folder is read-only in the jail.
    GCOV_PREFIX='C:\sandbox\gcov' sandbox_test coverage '*'
    mv "$drive/sandbox/gcov" "$SANDBOX/gcov"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}" googletest gcovr
build release
build coverage
sandbox_open coverage
sandbox_enter "$script"
find build/coverage -name '*.gcda' -delete
cp -r "$sandbox/gcov$PWD/build/coverage/." build/coverage

report() {
    gcovr --root . --filter src/ --gcov-executable x86_64-w64-mingw32-gcov-posix \
        --exclude-throw-branches --exclude-unreachable-branches build/coverage "$@"
}
report
report --branches
[[ $(</etc/debian_version) == 12* ]] || exit 0
report --fail-under-line 97.8 --fail-under-branch 94.3 >/dev/null || script_fail "Coverage: less than before"
echo "Coverage: not less than before"
