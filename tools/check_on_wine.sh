#!/usr/bin/env bash
# Runs the check.cmd of an installed package in Wine's cmd, in a prefix whose registry has the catalogs of the
# sample machine, and once more after an entry was added that the program cannot read: this has to end in
# FAIL. Installs missing packages.
#
# tools/check_on_wine.sh [FOLDER]
#   FOLDER  the unpacked package; without it, the one that "cmake --install" makes
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_arguments 1 "$@"
winsock='HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters'

# run_check EXPECTED...: runs check.cmd, and checks that its output has each of the lines.
run_check() {
    local output line code=0
    output=$(sandbox_wine cmd /c 'C:\package\check.cmd' | tr -d '\r') || code=$?
    printf '%s\n' "$output"
    for line; do
        grep -qxF "$line" <<<"$output" || script_fail "check.cmd did not print: $line"
    done
    return "$code"
}

if sandbox_inside; then
    sandbox_make build/release
    cp -r "$SANDBOX/package" "$drive/package"
    sandbox_check sandbox/sample_winsock.txt export sample_winsock.txt sample.reg >/dev/null
    sandbox_wine reg import 'C:\sandbox\sample.reg' >/dev/null 2>&1 || script_fail "The catalogs were refused"
    # With the files that the catalogs name, those of 32-bit programs, too.
    sandbox_check sandbox/sample_winsock.txt make-dlls sample_winsock.txt >/dev/null
    mkdir -p "$drive/windows/syswow64"
    cp "$drive"/windows/system32/{mswsock,examplelsp,filterlsp,guardlsp}.dll "$drive/windows/syswow64/"
    run_check "PASS    list, all entries work: exit code 0" \
        "PASS    export: the same result as this machine, NOTHING TO DO, 0, 0, 0, 0, 0" \
        "PASS    64-bit catalog: 9 entries, as reg query prints" \
        "PASS    32-bit catalog: 9 entries, as reg query prints" \
        "PASS    lsp with a name that no LSP has: exit code 2" "PASS    an unknown option: exit code 1" ||
        script_fail "check.cmd failed on a sound machine"
    sandbox_set "$winsock\\Protocol_Catalog9\\Catalog_Entries64\\000000000010" /v PackedCatalogItem /d none
    ! run_check "FAIL    64-bit catalog: 9 entries, reg query prints 10" ||
        script_fail "check.cmd did not fail on a wrong count"
    echo "check.cmd: passes on a sound machine, fails on a wrong count"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
build release
sandbox_open check
if (($# == 1)); then
    cp -r "$(cd "$script_caller" && realpath "$1")" "$sandbox/package"
else
    cmake --install build/release --prefix "$sandbox/package" >/dev/null
fi
sandbox_enter "$script"
