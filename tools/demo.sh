#!/usr/bin/env bash
# Runs one command of norvane64.exe on a sample machine in a throwaway Wine prefix and shows what became of it.
# tools/demo.sh [--system update|plain] [WORDS...]
#   WORDS     the command; "remove lsp examplelsp.dll" when none are given; "all" for one of each kind
#   --system  whether the machine's Winsock has the update functions; for "remove lsp" both kinds in turn when not given
# Needs nothing but Debian 12.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. sandbox/sandbox.sh
export WINEPREFIX=$PWD/build/sandbox/demo
drive=$WINEPREFIX/drive_c
kinds=()
if [ "${1:-}" = --system ]; then
    kinds=("$2")
    shift 2
fi
(($# > 0)) || set -- remove lsp examplelsp.dll
if [ "$1" = all ]; then
    "$0"
    "$0" remove network-component ms_example
    "$0" remove restore-dll "$SANDBOX_CLASS"
    exec "$0" remove vbs x
fi
((${#kinds[@]} > 0)) || { [ "${2:-}" = lsp ] && kinds=(update plain) || kinds=(update); }

heading() {
    printf '\n== %s\n' "$1"
}

# Files, registry values and network components, a line each, to be compared.
list_machine() {
    (cd "$drive" && find . -path ./sandbox -prune -o -path ./users -prune -o -type f -print |
        sed 's/^\./file C:/; s/\//\\/g')
    sandbox_wine reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' | sed -n 's/^  */count /p'
    local class
    for class in "$SANDBOX_CLASS" '{B54F3743-5B07-11cf-A4B0-00AA004A55E8}'; do
        sandbox_wine reg query "HKCR\\CLSID\\$class\\InprocServer32" | sed -n "s/^  */class $class /p"
    done
    cat "$drive/sandbox/netcfg.txt"
}

show_catalogs() {
    awk -f sandbox/draw_catalogs.awk "$drive/sandbox/winsock.txt"
}

show_pending() {
    sandbox_wine reg query 'HKLM\SYSTEM\CurrentControlSet\Control\Session Manager' /v PendingFileRenameOperations \
        2>/dev/null | grep REG_MULTI_SZ | sed 's/.*REG_MULTI_SZ *//' || echo "  none"
}

run_on() {
    local code=0 before after kind=$1
    shift
    sandbox_machine "$kind"
    before=$(list_machine)
    if [ "${2:-}" = lsp ]; then
        heading "A machine whose Winsock $([ "$kind" = update ] && echo has || echo lacks) the update functions; before"
        show_catalogs
    else
        heading "What the machine has that matters"
        grep -v '^file' <<<"$before" | sed 's/^/  /'
    fi
    heading "norvane64.exe $*"
    sandbox_wine 'C:\sandbox\release\norvane64.exe' "$@" || code=$?
    heading "Exit code $code; after"
    [ "${2:-}" != lsp ] || show_catalogs
    after=$(list_machine)
    heading "What went (-) and came (+)"
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
