#!/usr/bin/env bash
# Checks the programs that ship: their size, hardening, manifest and version resource, and that they import
# only known functions. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}"
build release
objdump=x86_64-w64-mingw32-objdump
failed=0

check() {
    script_check "$program: $1" "${@:2}"
}

# imports EXECUTABLE: a line for each function that it imports: the DLL and its name.
imports() {
    $objdump -p "$1" | awk '/DLL Name:/ { dll = tolower($3) } dll && /^\t[0-9a-f]+[ \t]/ { print dll, $NF }'
}

# file_has FILE TEXT: whether a file contains a text.
file_has() {
    grep -aqF -- "$2" "$1"
}

# has_version_resource FILE NAME: whether the resource names the file's original name. Its texts are UTF-16.
has_version_resource() {
    tr -d '\0' <"$1" | grep -ac "OriginalFilename.\{0,2\}$2" >/dev/null
}

# check_program NAME LARGEST LEVEL
check_program() {
    local headers size flag
    program=$1.exe
    executable=build/release/$program
    size=$(stat -c %s "$executable")
    check "size of $size bytes" test "$size" -le "$2"
    headers=$($objdump -p "$executable")
    for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
        check "$flag" has "$headers" "$flag"
    done
    check "relocations" has "$($objdump -h "$executable")" .reloc
    check "no symbols" has "$(x86_64-w64-mingw32-nm "$executable" 2>&1)" "no symbols"
    check "symbols beside it" test -s "$executable.debug"
    check "manifest: $3" file_has "$executable" "level=\"$3\""
    check "manifest: ANSI code page" not file_has "$executable" activeCodePage
    check "version resource" has_version_resource "$executable" "$program"
    imported=$(imports "$executable")
    check "imports can be read" test -n "$imported"
}

check_program norvane64 200000 requireAdministrator
unknown=$(grep -vE '^(advapi32|kernel32|msvcrt|ole32|ws2_32)\.dll ' <<<"$imported" || [ $? = 1 ])
check "imports only from known DLLs $unknown" test -z "$unknown"

# It cannot change anything: it imports no function that could.
check_program norvane64-rehearse 400000 asInvoker
unknown=$(grep -vxFf tools/rehearsal_imports.txt <<<"$imported" || [ $? = 1 ])
check "imports only functions of tools/rehearsal_imports.txt $unknown" test -z "$unknown"
((failed == 0)) || script_fail "A program is not as it should be."
