#!/usr/bin/env bash
# Runs one command of norvane64.exe on a sample machine in a throwaway Wine prefix and shows what became of it.
# tools/demo.sh [--system update|plain] [WORDS...]
#   WORDS     the command; "remove lsp examplelsp.dll" when none are given
#   --system  whether the machine's Winsock has the update functions; both kinds in turn when not given
# Needs nothing but Debian 12.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. sandbox/sandbox.sh
export WINEPREFIX=$PWD/build/sandbox/demo
drive=$WINEPREFIX/drive_c
kinds=(update plain)
if [ "${1:-}" = --system ]; then
    kinds=("$2")
    shift 2
fi
(($# > 0)) || set -- remove lsp examplelsp.dll

heading() {
    printf '\n== %s\n' "$1"
}

# Files and registry values, a line each, to be compared.
list_machine() {
    (cd "$drive" && find . -path ./sandbox -prune -o -path ./users -prune -o -type f -print | sed 's/^\./file C:/; s/\//\\/g')
    sandbox_wine reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' | sed 's/^  */count /'
}

show_pending() {
    sandbox_wine reg query 'HKLM\SYSTEM\CurrentControlSet\Control\Session Manager' /v PendingFileRenameOperations \
        2>/dev/null | grep REG_MULTI_SZ | sed 's/.*REG_MULTI_SZ *//' || echo "  none"
}

run_on() {
    local code=0 before after
    sandbox_machine "$1"
    heading "A machine whose Winsock $([ "$1" = update ] && echo has || echo lacks) the update functions; before"
    awk -f sandbox/draw_catalogs.awk "$drive/sandbox/winsock.txt"
    before=$(list_machine)
    heading "norvane64.exe ${*:2}"
    sandbox_wine 'C:\sandbox\release\norvane64.exe' "${@:2}" || code=$?
    heading "Exit code $code; after"
    awk -f sandbox/draw_catalogs.awk "$drive/sandbox/winsock.txt"
    heading "Files and counts that went (-) or came (+)"
    after=$(list_machine)
    { diff <(echo "$before") <(echo "$after") || true; } | sed -n 's/^</  -/p; s/^>/  +/p'
    heading "Pending deletions at the next start"
    show_pending
}

setup_build
build release
trap sandbox_stop EXIT
for kind in "${kinds[@]}"; do
    sandbox_make build/release
    run_on "$kind" "$@"
done
