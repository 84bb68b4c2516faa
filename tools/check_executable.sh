#!/usr/bin/env bash
# Checks the shipped executable: one file of at most 300,000 bytes, with known imports, hardened, described, reproducible.
# Takes no words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
script_lock
setup_build
build release
executable=build/release/norvane64.exe
objdump=x86_64-w64-mingw32-objdump
failed=0

check() {
    if eval "$2"; then echo "ok: $1"; else echo "FAILED: $1"; failed=1; fi
}

size=$(stat -c %s "$executable")
imports=$($objdump -p "$executable" | sed -n 's/.*DLL Name: //p' | tr '[:upper:]' '[:lower:]' | sort -u | tr '\n' ' ')
allowed=" advapi32.dll kernel32.dll msvcrt.dll ole32.dll ws2_32.dll "
check "size of $size bytes" '((size <= 300000))'
for dll in $imports; do
    check "import of $dll" '[[ $allowed == *" $dll "* ]]'
done
headers=$($objdump -p "$executable")
for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
    check "$flag" 'grep -q "$flag" <<<"$headers"'
done
check "relocations" '$objdump -h "$executable" | grep -c "\.reloc" >/dev/null'
check "no symbols" '! x86_64-w64-mingw32-nm "$executable" 2>/dev/null | grep -q .'
check "symbols beside it" '[ -s "$executable.debug" ]'
check "manifest: asInvoker" 'grep -aq "level=\"asInvoker\"" "$executable"'
check "manifest: ANSI code page" '! grep -aq activeCodePage "$executable"'
check "version resource" 'tr -d "\0" <"$executable" | grep -ac "OriginalFilename.\{0,2\}norvane64.exe" >/dev/null'

# Here a warning is an error, too; in the release that somebody builds with a newer compiler it is not.
again=$(mktemp -d)
trap 'rm -rf "$again"' EXIT
cmake --preset release -B "$again" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >/dev/null
cmake --build "$again" --target norvane64 >/dev/null
check "same bytes when built again elsewhere" 'cmp -s "$executable" "$again/norvane64.exe" >/dev/null'
((failed == 0)) || script_fail "The executable is not as it should be."
