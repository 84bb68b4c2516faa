#!/usr/bin/env bash
# Checks the tables of docs/trace.md and the README against traces. Runs each command of tests/traces.txt on
# the sample machine in a sandbox, and measures the state in which it leaves the machine. What the tables say
# about the trace must be true for this state, and each row must apply to a trace.
#
# tools/check_traces.sh [--show]
#   --show  prints the states and the rows of each trace
# shellcheck disable=SC2016 # the backticks are those of Markdown
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
given=("$@")
show=0
[ "${1-}" != --show ] || { show=1 && shift; }
script_arguments 0 "$@"
failed=0
manager='HKLM\SYSTEM\CurrentControlSet\Control\Session Manager'
classes='HKLM\SOFTWARE\Classes\CLSID'
script_class='{B54F3741-5B07-11cf-A4B0-00AA004A55E8}'
callers='For callers' # the table of the README
tables=('remove lsp: the catalogs' 'remove lsp: the DLL' 'remove network-component' 'remove restore-dll'
    'remove vbs')
# An expression that no trace has: the system's library cannot be made to fail in that way.
unseen='removing LSP .*\s+\S+ \S+ 64-bit utility finished'
lines=() kinds=() states=() rows=()
# How the states of rows begin that no trace has: the calls of Windows that fail there do not fail under Wine.
unproduced=('It remains, **also if' 'Not restored. The saved path is' '**Not restored, and the saved path')

# reset_machine: the sample machine, and the files that its 32-bit entries open.
reset_machine() {
    local name key
    sandbox_winsock update
    cp sandbox/sample_winsock.txt "$drive/sandbox/winsock.txt"
    cp sandbox/sample_netcfg.txt "$drive/sandbox/netcfg.txt"
    mkdir -p "$drive/windows/syswow64"
    for name in mswsock examplelsp filterlsp guardlsp; do
        : >"$drive/windows/system32/$name.dll"
        : >"$drive/windows/syswow64/$name.dll"
    done
    touch "$drive/windows/system32/original.dll"
    {
        sandbox_wine reg delete "$manager" /v PendingFileRenameOperations /f || true
        for name in 1 2; do
            key="$classes\\${script_class/1-/$name-}\\InprocServer32"
            sandbox_wine reg add "$key" /f /ve /d 'C:\planted.dll'
        done
        sandbox_wine reg import 'C:\sandbox\sample_registry.reg'
    } >/dev/null 2>&1
}

# prepare STEP: changes the sample machine, as tests/traces.txt describes it.
prepare() {
    local rest=${1#* } tries
    case $1 in
    'fail '*) echo "$1" >>"$drive/sandbox/$(sandbox_simulation "${rest%% *}").txt" ;;
    plain) sandbox_winsock plain ;;
    'catalogs '*)
        sed -Ei "$rest" "$drive/sandbox/winsock.txt"
        not cmp -s sandbox/sample_winsock.txt "$drive/sandbox/winsock.txt" || script_fail "No effect: $1"
        ;;
    'netcfg '*) echo "$rest" >>"$drive/sandbox/netcfg.txt" ;;
    'delete '*) mv "$drive/$rest" "$SANDBOX/deleted" ;;
    'security '*)
        sandbox_check "$rest" security "${classes#*\\}\\${rest%% *}\\InprocServer32" "${rest#* }" >/dev/null
        ;;
    'hold '*)
        exec {holder}> >(sandbox_exec cmd /c "pause >C:\\${rest//\//\\}" >/dev/null 2>&1)
        for ((tries = 0; tries < 600; ++tries)); do
            [ ! -s "$drive/$rest" ] || break
            sleep 0.05
        done
        ;;
    'reg '*) eval "sandbox_wine $1" >/dev/null 2>&1 ;;
    *) script_fail "tests/traces.txt: unknown step: $1" ;;
    esac
}

# list_entries NAME: see tools/catalog_facts.awk.
list_entries() {
    (cd "$WINEPREFIX" && find drive_c/windows/sys* -maxdepth 1 -type f) |
        sed 's/^drive_c/c:/; s/\//\\/g' | tr '[:upper:]' '[:lower:]' >"$SANDBOX/files"
    awk -v NAME="$1" -v FILES="$SANDBOX/files" -f tools/catalog_facts.awk "$drive/sandbox/winsock.txt" | sort
}

# is COMMAND...: prints 1 when the command succeeds, and 0 otherwise.
is() {
    if "$@" >/dev/null 2>&1; then echo 1; else echo 0; fi
}

# measure_lsp NAME BEFORE: the state after a removal.
#   same         the catalogs are as before
#   left64, ...  entries with the name remain in that catalog; left: in one of both
#   broken       an entry does not work that worked before, or that is new
#   exists, deleted  the DLL that the 64-bit catalog named; pending: it is deleted at the next start
measure_lsp() {
    local after catalog dll
    after=$(list_entries "$1")
    state[same]=$(is [ "$(grep '^has' <<<"$2")" = "$(grep '^has' <<<"$after")" ])
    for catalog in 64 32; do
        state[left$catalog]=$(is grep "^named $catalog" <<<"$after")
    done
    state[left]=$((state[left64] || state[left32]))
    state[broken]=$(is grep '^idle' < <(comm -13 <(echo "$2") <(echo "$after")))
    state[pending]=$(is sandbox_wine reg query "$manager" /v PendingFileRenameOperations)
    dll=$(sed -n '/^dll c:./{s///; s/\\/\//g; p; q}' <<<"$2")
    [ -n "$dll" ] || return 0
    state[exists]=$(is [ -e "$drive/$dll" ])
    state[deleted]=$((!state[exists] || state[pending]))
}

# measure_class CLASS: "restored", the key names the DLL of before; "saved", the path of that DLL is saved.
measure_class() {
    local values
    values=$(sandbox_wine reg query "$classes\\$1\\InprocServer32" 2>/dev/null) || true
    state[restored]=$(is grep -E '^ +\(.*(original|vbscript)\.dll' <<<"$values")
    state[saved]=$(is grep OriginalDll <<<"$values")
}

list_components() {
    sed -n '/^component /p' "$1"
}

# run_trace ARGUMENTS STEPS: writes the trace of a command to the file $number, and measures the state: also
# "kept", the network components are as before, and "registered", vbscript.dll is that of its first class.
run_trace() {
    local step before holder=
    reset_machine
    while IFS= read -r step; do
        [ -z "$step" ] || prepare "$step"
    done <<<"${2// ; /$'\n'}"
    eval "set -- $1"
    kinds[number]=${2-}
    before=$(list_entries "${3-}")
    cp "$drive/sandbox/netcfg.txt" "$SANDBOX/netcfg"
    sandbox_wine 'C:\sandbox\release\norvane64.exe' "$@" >"$SANDBOX/traces/$number" 2>&1 || true
    [ -z "$holder" ] || exec {holder}>&-
    not grep '^fail ' "$drive/sandbox"/{winsock,netcfg}.txt ||
        script_fail "tests/traces.txt: this did not occur: ${lines[number]}"
    case ${kinds[number]} in
    lsp) measure_lsp "${3-}" "$before" ;;
    network-component) state[kept]=$(is diff <(list_components "$SANDBOX/netcfg") \
        <(list_components "$drive/sandbox/netcfg.txt")) ;;
    restore-dll) measure_class "${3-}" ;;
    vbs) state[registered]=$(is grep vbscript.dll \
        <(sandbox_wine reg query "$classes\\$script_class\\InprocServer32")) ;;
    esac
}

# run_traces: runs each line of tests/traces.txt.
run_traces() {
    local line name
    mkdir "$SANDBOX/traces"
    while IFS= read -r line; do
        [[ -n $line && $line != '#'* ]] || continue
        ((++number))
        lines[number]=$line
        state=()
        run_trace "${line%% ~ *}" "$([[ $line != *' ~ '* ]] || echo "${line#* ~ }")"
        states[number]=
        for name in "${!state[@]}"; do
            states[number]+=" $name=${state[$name]}"
        done
    done <tests/traces.txt
}

# traces_with EXPRESSION: the numbers of the traces that have it.
traces_with() {
    { grep -Pzl -e "$1" -- "$SANDBOX/traces"/* || true; } | sed 's|.*/||' | tr '\n' ' '
}

# read_pages: the rows of the tables, and for each expression the traces that have it.
read_pages() {
    local table row what text
    while IFS=$'\t' read -r table row what text; do
        case $what in
        cell*) cells[$table/$row/${what#cell }]=$text ;;
        *)
            expressions[$table/$row/$what]+=$text$'\n'
            [ -n "${found[$text]-}" ] || found[$text]=" $(traces_with "$text")"
            ;;
        esac
        [[ ${#rows[@]} -gt 0 && ${rows[-1]} == "$table/$row" ]] || rows+=("$table/$row")
    done < <(awk -f tools/page_rows.awk docs/trace.md README.md)
}

# has_one ROW GROUP: whether the trace $number has one of the expressions of a row.
has_one() {
    local expression
    while IFS= read -r expression; do
        [[ -z $expression || ${found[$expression]} != *" $number "* ]] || return 0
    done <<<"${expressions[$1/$2]-}"
    return 1
}

# applies ROW: whether a row applies to the trace $number.
applies() {
    { [ -z "${expressions[$1/any]-}" ] || has_one "$1" any; } &&
        { [ -z "${expressions[$1/and]-}" ] || has_one "$1" and; } && not has_one "$1" without
}

# said_by TABLE: what a table says about the trace $number: its first row that applies, or, in the README,
# each row about the command. Sets $said and adds to $used.
said_by() {
    local row kind=${kinds[number]}
    said=
    for row in "${rows[@]}"; do
        [ "${row%/*}" = "$1" ] || continue
        if applies "$row"; then
            used[$row]+=" $number"
            said+=${cells[$row/2]}$'\n'
            [ "$1" = "$callers" ] || return 0
        elif [[ $1 == "$callers" && ${cells[$row/2]} =~ ^any|\`$kind\` ]]; then
            said+=${cells[$row/3]}$'\n'
        fi
    done
}

# holds STATES: whether each of the states is known and true, or known and false behind "!". Sets $unknown.
holds() {
    local name result=0
    unknown=0
    for name in $1; do
        case " ${states[number]} " in
        *" ${name#!}=$([[ $name == !* ]] && echo 0 || echo 1) "*) ;;
        *" ${name#!}="*) result=1 ;;
        *) unknown=1 ;;
        esac
    done
    return "$result"
}

# is_unproduced ROW: whether no trace can have what a row looks for.
is_unproduced() {
    local state
    for state in "${unproduced[@]}"; do
        [[ ${cells[$1/2]} != "$state"* ]] || return 0
    done
    return 1
}

# complain WHAT: reports a finding about the trace $number.
complain() {
    printf 'tests/traces.txt, %s\n  %s\n  state:%s\n' "${lines[number]}" "$1" "${states[number]}"
    failed=1
}

# judge TABLE: compares what a table says about the trace $number with the state.
judge() {
    local table expression sign names true text
    said_by "$1"
    while IFS='~' read -r table expression sign names; do
        [[ $1 == *"$table" ]] || continue
        true=0
        ! holds "$names" || true=1
        ((!unknown)) || continue
        # A rule is used when a trace could contradict it.
        text=$(is grep -P -e "$expression" <<<"$said")
        case $sign$text$true in '=>1'* | '<='*1) decided+=$'\n'$table~$expression~$sign~$names ;; esac
        case $sign$text$true in
        '=>10') complain "$1: \"$expression\" applies, and this is not true: $names" ;;
        '<=01') complain "$1: \"$expression\" does not apply, and this is true: $names" ;;
        esac
    done <<<"$rules"
    [ -n "$said" ]
}

# judge_trace: judges each table that is about the trace $number.
judge_trace() {
    local table
    judge "$callers" || true
    ! judge 'Every command' || return 0
    for table in "${tables[@]}"; do
        [[ $table != "remove ${kinds[number]}"* ]] || judge "$table" || [[ $table == *DLL ]] ||
            complain "$table: no row applies"
    done
}

if sandbox_inside; then
    declare -A state expressions cells found used
    rules=$(grep -v '^#' tools/trace_rules.txt)
    decided=
    # The texts that the program can write.
    written=$(sed -n '/^```text$/,/^```$/s| / |\n|gp; /^```text$/,/^```$/p' docs/trace.md)
    number=0
    sandbox_make build/release
    (sandbox_exec ping -n 600 127.0.0.1 >/dev/null 2>&1) & # while a program runs, others start at once
    run_traces
    read_pages
    for number in "${!lines[@]}"; do
        judge_trace
        ((!show)) || printf '%s. %s\n  state:%s\n' "$number" "${lines[number]}" "${states[number]}"
    done
    for row in "${rows[@]}"; do
        ((!show)) || printf '%s:%s\n' "$row" "${used[$row]-}"
        [ "$(is is_unproduced "$row")" != "$(is [ -n "${used[$row]-}" ])" ] ||
            { echo "No trace has what this row looks for, or one has it by now: $row" && failed=1; }
    done
    grep -vxFf <(echo "$decided") <<<"$rules" && { echo "No trace can contradict these rules." && failed=1; }
    for text in "${!found[@]}"; do
        [[ ${found[$text]} != ' ' || $text == "$unseen" ]] || grep -qP -e "$text" <<<"$written" ||
            { echo "Neither a trace nor a text of the program has this: $text" && failed=1; }
    done
    ((failed == 0)) || script_fail "Traces: the documentation does not describe them"
    echo "Traces: ${#lines[@]}, each as the documentation describes it"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
build release
sandbox_open traces
sandbox_enter "$script" "${given[@]}"
