#!/usr/bin/env bash
# Runs one command of norvane64.exe on a sample machine in a throwaway Wine prefix, and shows the result.
#
# tools/demo.sh [OPTIONS] [COMMAND...]
#   COMMAND          the arguments of norvane64.exe; "remove lsp examplelsp.dll" by default; "all" for one
#                    command of each kind
#   --from FILE      the catalogs of another machine: a registry export, the output of "netsh winsock show
#                    catalog", or a state file like sandbox/sample_winsock.txt, as
#                    simulation/winsock_state.h describes it. The DLLs that the catalogs name are created
#                    for you
#   --system KIND    "update" (default): Winsock has the update functions, as in every 64-bit Windows in use;
#                    "plain": it lacks them
#   --fail CALL N CODE
#                    the Nth call of that function fails with that code; can be given more than once. CALL
#                    is a function of Winsock (WSCDeinstallProvider) or a method of the network
#                    configuration (DeInstall); CODE is decimal, or hexadecimal with 0x, and not 0. DeInstall
#                    and Apply make their change when CODE is a status and no error (0x4A020, a restart is
#                    due). "--system plain" alone calls WSCInstallProvider64_32. No command calls
#                    WSCEnumProtocols32, WSCInstallProvider, WSCUpdateProvider or WSCWriteProviderOrder. What
#                    did not fail is listed at the end
#
# Options can be before or behind the command; "--" ends them. Exit code 0 when everything could be shown,
# whatever the exit code of the command.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_class='{B54F374N-5B07-11cf-A4B0-00AA004A55E8}' # N: the classes 1 to 3
sample_class='{0D5A2C40-6E3B-4F19-9C77-1B2E4A6F8D03}'
given=("$@")
kind=update
from=
faults=()
command=()
options=1
while (($# > 0)); do
    case $options$1 in
    1--) options=0 ;;
    1--from=?*) from=${1#*=} ;;
    1--from)
        (($# > 1)) || script_refuse "--from needs a file"
        from=$2
        shift
        ;;
    1--system)
        [[ ${2:-} =~ ^(update|plain)$ ]] || script_refuse "--system takes update or plain"
        kind=$2
        shift
        ;;
    1--fail)
        [[ ${3:-} =~ ^[1-9][0-9]*$ && ${4:-} =~ ^(-?0|-?[1-9][0-9]*|0x[0-9A-Fa-f]+)$ ]] ||
            script_refuse "--fail takes a call, a number and a code"
        [[ ! $4 =~ ^(-|0x)?0+$ ]] || script_refuse "--fail: the code 0 is a success"
        sandbox_simulation "$2" >/dev/null || script_refuse "--fail: unknown call: $2"
        faults+=("fail $2 $3 $4")
        shift 3
        ;;
    1-?*) script_arguments 0 "$1" ;;
    *) command+=("$1") ;;
    esac
    shift
done
set -- "${command[@]}"
(($# > 0)) || set -- remove lsp examplelsp.dll
[[ ${1,,} != all || $# -eq 1 ]] || script_refuse "\"all\" takes no arguments"

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
    for class in "$sample_class" "${script_class/N/1}" "${script_class/N/2}" "${script_class/N/3}"; do
        sandbox_wine reg query "HKCR\\CLSID\\$class\\InprocServer32" | sed -n "s/^  */class $class /p"
    done
    grep -v '^fail' "$drive/sandbox/netcfg.txt" || true # nothing when the last component is removed
}

show_catalogs() {
    sandbox_check winsock.txt export winsock.txt winsock.reg >/dev/null
    # The exit code says whether each entry works.
    { sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' --from winsock.reg list || true; } |
        tr -d '\r' | tail -n +2
}

# show_unused: the planned failures that did not occur, and how often the command made the call.
show_unused() {
    local fault call number code signed calls
    for fault in "${faults[@]}"; do
        read -r _ call number code <<<"$fault"
        signed=$((code > 0x7FFFFFFF ? code - 0x100000000 : code)) # as in the state file
        grep -hxF "fail $call $number $signed" "$drive/sandbox"/{winsock,netcfg}.txt >/dev/null || continue
        calls=$(cat "$drive/sandbox"/{winsock,netcfg}.calls.txt 2>/dev/null | grep -c "^$call ") || true
        echo "  $fault: this command made the call $calls times"
    done
}

show_pending() {
    sandbox_wine reg query 'HKLM\SYSTEM\CurrentControlSet\Control\Session Manager' \
        /v PendingFileRenameOperations 2>/dev/null |
        grep REG_MULTI_SZ | sed 's/.*REG_MULTI_SZ *//' || echo "  none"
}

# typed ARGUMENTS...: each argument as it is typed, behind a blank.
typed() {
    local argument
    for argument; do
        case $argument in
        '' | *[[:space:]]*) printf ' "%s"' "$argument" ;;
        *) printf ' %s' "$argument" ;;
        esac
    done
}

# show_command COMMAND...: runs a command on a fresh machine.
show_command() {
    local code=0 before after fault changes unused
    sandbox_forget_prefix
    sandbox_make build/release
    sandbox_machine "$kind" ${from:+"$SANDBOX/inputs/${from##*/}"}
    for fault in "${faults[@]}"; do
        sandbox_fault "$fault"
    done
    before=$(list_machine)
    if about_catalogs "$@"; then
        heading "Before: Winsock $([ "$kind" = update ] && echo has || echo lacks) the update functions"
        show_catalogs
    else
        heading "Before: registry values and network components"
        grep -v '^file' <<<"$before" | sed 's/^/  /'
    fi
    heading "norvane64.exe$(typed "$@")"
    sandbox_wine 'C:\sandbox\release\norvane64.exe' "$@" || code=$?
    heading "After: exit code $code"
    ! about_catalogs "$@" || show_catalogs
    after=$(list_machine)
    heading "Files, registry values and components: removed (-) and added (+)"
    changes=$(diff <(echo "$before") <(echo "$after") | sed -n 's/^</  -/p; s/^>/  +/p') || true
    echo "${changes:-  no change}"
    heading "Pending deletions at the next start"
    show_pending
    unused=$(show_unused)
    [ -z "$unused" ] || { heading "Planned failures that did not occur" && echo "$unused"; }
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
[ -z "$from" ] || sandbox_input "$from"
sandbox_enter "$script" "${given[@]}"
