#!/usr/bin/env bash
# Checks the shipped programs: their sizes, that they import nothing that they should not, hardened, described. Takes no words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}"
build release
objdump=x86_64-w64-mingw32-objdump
failed=0

check() {
    script_check "$program: $1" "$2"
}

# imports EXECUTABLE: a line for each function that it imports: the DLL and its name.
imports() {
    $objdump -p "$1" | awk '/DLL Name:/ { dll = tolower($3) } dll && /^\t[0-9a-f]+\t/ { print dll, $NF }'
}

# check_program NAME LARGEST LEVEL
check_program() {
    local headers size
    program=$1.exe
    executable=build/release/$program
    size=$(stat -c %s "$executable")
    check "size of $size bytes" "((size <= $2))"
    headers=$($objdump -p "$executable")
    for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
        check "$flag" 'grep -q "$flag" <<<"$headers"'
    done
    check "relocations" '$objdump -h "$executable" | grep -c "\.reloc" >/dev/null'
    check "no symbols" '[[ $(x86_64-w64-mingw32-nm "$executable" 2>&1) == *"no symbols"* ]]'
    check "symbols beside it" '[ -s "$executable.debug" ]'
    check "manifest: $3" "grep -aq 'level=\"$3\"' \"\$executable\""
    check "manifest: ANSI code page" '! grep -aq activeCodePage "$executable"'
    check "version resource" 'tr -d "\0" <"$executable" | grep -ac "OriginalFilename.\{0,2\}$program" >/dev/null'
}

check_program norvane64 200000 requireAdministrator
unknown=$(imports "$executable" | grep -vE '^(advapi32|kernel32|msvcrt|ole32|ws2_32)\.dll ' || true)
check "imports of known DLLs alone $unknown" '[ -z "$unknown" ]'

# It cannot change anything: it imports no function that could.
check_program norvane64-rehearse 400000 asInvoker
unknown=$(imports "$executable" | grep -vxFf <(grep -v '^#' tools/rehearsal_imports.txt) || true)
check "imports of tools/rehearsal_imports.txt alone $unknown" '[ -z "$unknown" ]'
((failed == 0)) || script_fail "A program is not as it should be."
