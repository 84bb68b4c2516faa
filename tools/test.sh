#!/usr/bin/env bash
# Builds, and runs the tests under Wine in a sandbox that is made for the run. Installs missing packages, and
# says so first.
#
# tools/test.sh [FILTER]
#   FILTER  a GoogleTest filter, such as 'lsp_removal.*'; every test when it is not given
#
# Shows the output of tests that fail. Exit code 0 when every test that matches ran and passed. The last line
# is "N passed, N failed", or the cause.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_arguments 1 "$@"

if sandbox_inside; then
    sandbox_test checked "${1-*}"
    exit
fi
script_lock
setup_install "${setup_compiler[@]}" "${sandbox_needs[@]}" googletest
build release
build checked
sandbox_open test
sandbox_enter "$script" "$@"
