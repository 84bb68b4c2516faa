#!/usr/bin/env bash
# Runs one command of norvane64.exe on a sample machine in a throwaway Wine prefix, and shows the result.
# Installs missing packages.
#
# tools/demo.sh [--system update|plain] [--state FILE] [WORDS...]
#   WORDS     the command; "remove lsp examplelsp.dll" when none are given; "all" for one of each kind
#   --system  "update" (default): Winsock has the update functions, as in every 64-bit Windows in use;
#             "plain": it lacks them
#   --state   the catalogs of a machine of your own, in the form of sandbox/sample_winsock.txt, which
#             machine/winsock_state.h describes; the DLLs that they name are there
#
# Exit code 0 when everything could be shown, whatever the exit code of the command.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
sample_class='{0D5A2C40-6E3B-4F19-9C77-1B2E4A6F8D03}'
words=("$@")
kind=update
state=
while [[ ${1:-} == -* ]]; do
    case $1 in
    --system)
        [[ ${2:-} =~ ^(update|plain)$ ]] || script_refuse "--system takes update or plain"
        kind=$2
        shift 2
        ;;
    --state)
        state=${2:-}
        [ -n "$state" ] || script_refuse "--state takes a file"
        shift 2
        ;;
    *) script_arguments 0 "$@" ;;
    esac
done
(($# > 0)) || set -- remove lsp examplelsp.dll
[[ ${1,,} != all || $# -eq 1 ]] || script_refuse "\"all\" stands alone"

heading() {
    printf '\n== %s\n' "$1"
}

# Whether the command is "remove lsp", which the program accepts in any letter case.
about_catalogs() {
    [[ ${1,,} == remove && ${#} -gt 1 && ${2,,} == lsp ]]
}

# Files, registry values and network components, a line each, to be compared.
list_machine() {
    (cd "$WINEPREFIX" &&
        find drive_* -path drive_c/sandbox -prune -o -path drive_c/users -prune -o -type f -print |
        sed 's/^drive_\(.\)/file \U\1:/; s/\//\\/g')
    sandbox_wine reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs' |
        sed -n 's/^  */count /p'
    local class
    for class in "$sample_class" '{B54F3743-5B07-11cf-A4B0-00AA004A55E8}'; do
        sandbox_wine reg query "HKCR\\CLSID\\$class\\InprocServer32" | sed -n "s/^  */class $class /p"
    done
    cat "$drive/sandbox/netcfg.txt"
}

show_catalogs() {
    sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' --picture winsock.txt list | tail -n +2
}

show_pending() {
    sandbox_wine reg query 'HKLM\SYSTEM\CurrentControlSet\Control\Session Manager' \
        /v PendingFileRenameOperations 2>/dev/null |
        grep REG_MULTI_SZ | sed 's/.*REG_MULTI_SZ *//' || echo "  none"
}

# show_command WORDS...: runs a command on a fresh machine.
show_command() {
    local code=0 before after
    sandbox_forget_prefix
    sandbox_make build/release
    sandbox_machine "$kind" ${state:+"$SANDBOX/state.txt" "$state"}
    before=$(list_machine)
    if about_catalogs "$@"; then
        heading "Before: Winsock $([ "$kind" = update ] && echo has || echo lacks) the update functions"
        show_catalogs
    else
        heading "Before: registry values and network components"
        grep -v '^file' <<<"$before" | sed 's/^/  /'
    fi
    heading "norvane64.exe $*"
    sandbox_wine 'C:\sandbox\release\norvane64.exe' "$@" || code=$?
    heading "After: exit code $code"
    ! about_catalogs "$@" || show_catalogs
    after=$(list_machine)
    heading "Removed (-) and added (+)"
    { diff <(echo "$before") <(echo "$after") || true; } | sed -n 's/^</  -/p; s/^>/  +/p'
    heading "Pending deletions at the next start"
    show_pending
}

if sandbox_inside; then
    if [ "${1,,}" = all ]; then
        show_command remove lsp examplelsp.dll
        show_command remove network-component ms_example
        show_command remove restore-dll "$sample_class"
        show_command remove vbs x
    else
        show_command "$@"
    fi
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
build release
sandbox_open demo
if [ -n "$state" ]; then
    (cd "$script_caller" && cp "$state" "$sandbox/state.txt") ||
        script_fail "The state file cannot be read: $state"
fi
sandbox_enter "$script" "${words[@]}"
