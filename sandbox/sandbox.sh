# The sandbox: a throwaway Wine prefix that stands for a machine, in a jail. To be sourced after
# tools/script.sh and tools/setup.sh.
#
# A script prepares what it needs, makes the sandbox's folder with sandbox_open, and runs itself again in the
# jail with sandbox_enter. In the jail sandbox_inside succeeds, and only the sandbox's folder, $SANDBOX, can
# be written to. It is removed when the script ends.

# Wine opens no window, offers no downloads, and does not write to the menus of the desktop.
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all} DISPLAY=''
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
export WINEPREFIX=${SANDBOX:-}/prefix
drive=$WINEPREFIX/drive_c

sandbox_inside() {
    [ -n "${SANDBOX:-}" ] && [ "${SANDBOX_SCRIPT:-}" = "$script" ]
}

# The packages that it needs.
sandbox_needs=(wine wine64 bubblewrap)

# sandbox_open NAME: makes $sandbox, the folder build/sandbox/NAME, which is removed at the end of the script.
sandbox_open() {
    sandbox=$PWD/build/sandbox/$1
    trap sandbox_leave EXIT
    rm -rf "$sandbox"
    mkdir -p "$sandbox/home" "$sandbox/prefix" "$sandbox/inputs"
}

# sandbox_input FILE: copies a file of the script's caller to $sandbox/inputs. Ends the script when it cannot
# be read, or when another file has its name; Wine ignores the case of letters.
sandbox_input() {
    local name=${1##*/}
    find "$sandbox/inputs" -type f -printf '%f\n' | not grep -ixF -- "$name" >/dev/null ||
        script_fail "Two files have the name $name; give one of them another name."
    (cd "$script_caller" && cp -- "$1" "$sandbox/inputs/$name") 2>/dev/null ||
        script_fail "This file cannot be read: $1"
}

# sandbox_enter COMMAND...: runs a command in the jail. Returns its exit code.
sandbox_enter() {
    local refusal jail=(bwrap --ro-bind / / --dev /dev --proc /proc --tmpfs /tmp --tmpfs /var/tmp --tmpfs /run
        --ro-bind "$PWD" "$PWD" --bind "$sandbox" "$sandbox" --unshare-all --cap-drop ALL
        --die-with-parent --new-session --setenv SANDBOX_JAILED 1 --)
    if ! refusal=$("${jail[@]}" true 2>&1); then
        echo "Running without a jail: this machine grants no namespaces (${refusal%%$'\n'*})" >&2
        jail=(env)
    fi
    # In the background, so that a signal ends the wait at once. With an environment of its own, so that the
    # result does not depend on the host's. Debian 13's Wine also aborts when TMPDIR is set.
    env -i PATH="$PATH" LC_ALL=C.UTF-8 WINEDEBUG="$WINEDEBUG" HOME="$sandbox/home" \
        SANDBOX="$sandbox" SANDBOX_SCRIPT="$script" \
        "${jail[@]}" "$@" </dev/null {script_lock_fd}>&- &
    sandbox_process=$!
    local code=0
    wait "$sandbox_process" || code=$?
    sandbox_process=
    return "$code"
}

# Ends all processes of the sandbox, and removes it. Without a jail Wine's own processes continue in sessions
# of their own. All of them have the sandbox in their environment.
sandbox_leave() {
    set +eo pipefail
    trap '' HUP INT TERM # a second Ctrl-C does not end the removal
    local processes tries=100
    if [ -n "${sandbox_process:-}" ]; then
        disown "$sandbox_process" # bash would report how it ended
        kill "$sandbox_process" 2>/dev/null
    fi
    while ((tries-- > 0)) && processes=$(sandbox_processes) && [ -n "$processes" ]; do
        xargs kill -KILL <<<"$processes" 2>/dev/null || true
        sleep 0.05
    done
    ((tries >= 0)) || echo "These processes could not be ended: $processes" >&2
    WINEPREFIX=$sandbox/prefix sandbox_forget_prefix
    rm -rf "$sandbox"
}

# The ids of the processes that have the sandbox in their environment.
sandbox_processes() {
    grep -lsxzF "SANDBOX=$sandbox" /proc/[0-9]*/environ | tr -cd '0-9\n'
}

# Ends the prefix's server, which may still write the registry, and empties the prefix. Debian's wineserver
# does not remove the folder of its socket.
sandbox_forget_prefix() {
    local temporary
    [[ $WINEPREFIX == */build/sandbox/*/prefix ]] || script_fail "Not a sandbox: $WINEPREFIX"
    [ ! -d "$drive" ] || "$(sandbox_find wineserver64 wineserver)" -k >/dev/null 2>&1 || true
    temporary=$(cat "$WINEPREFIX/wineserver" 2>/dev/null || true)
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    [[ ! $temporary =~ ^wine-[A-Za-z0-9]+$ ]] || rm -rf "/tmp/$temporary"
}

# sandbox_find NAMES...: the path of the first program that exists, in Debian's folder of Wine or in PATH. The
# loader is in that folder. The command "wine" is a wrapper, which warns when there is no 32-bit Wine.
sandbox_find() {
    local name
    for name; do
        command -v "/usr/lib/wine/$name" && return
    done
    for name; do
        command -v "$name" && return
    done
    script_fail "Wine is not installed: none of these programs exists: $*"
}

# sandbox_wine COMMAND...: runs a Windows program in C:\sandbox. It is ended after ten minutes. Its standard
# error output is shown when it has ended.
sandbox_wine() {
    local try code
    for try in 1 2 3; do
        code=0
        (sandbox_exec "$@") 2>"$SANDBOX/errors" || code=$?
        sandbox_refused "$SANDBOX/errors" || break
        echo "Wine refused to start, try $try" >&2
    done
    cat "$SANDBOX/errors" >&2
    return "$code"
}

# sandbox_refused LOG: whether Wine itself refused to start, which happens once in some thousand starts and
# can be repeated.
sandbox_refused() {
    grep -q 'failed to map the shared user data' "$1"
}

# sandbox_exec COMMAND...: runs a Windows program in place of this shell.
sandbox_exec() {
    cd "$drive/sandbox" || exit
    exec timeout --kill-after=5 600 "$sandbox_loader" "$@"
}

# sandbox_winsock KIND: replaces the system's ws2_32.dll with the simulation of that kind, "update" or
# "plain".
sandbox_winsock() {
    cp -f "$drive/sandbox/ws2_32_$1.dll" "$drive/windows/system32/ws2_32.dll"
}

# sandbox_make BUILD...: makes the prefix, with drive C: only, which has the home folders, too. The folder
# C:\sandbox receives the program of each build folder, in a folder with the name of the build. From the last
# build it also receives the rehearsal, the simulations and check_state.
sandbox_make() {
    local build link
    local netcfg='HKCR\CLSID\{5B035261-40F9-11D1-AAEC-00805FC1270E}\InprocServer32'
    sandbox_loader=$(sandbox_find wine64 wine)
    mkdir -p "$drive/sandbox"
    sandbox_wine wineboot -i >/dev/null 2>&1 || script_fail "Wine could not make a prefix"
    find "$WINEPREFIX/dosdevices" -type l ! -name c: -delete
    find "$drive/users" -type l -print0 | while IFS= read -rd '' link; do
        rm "$link"
        mkdir "$link"
    done
    for build; do
        mkdir -p "$drive/sandbox/${build##*/}"
        cp "$build/norvane64.exe" "$drive/sandbox/${build##*/}/"
    done
    cp "$build/norvane64-rehearse.exe" "$build"/simulation/*.dll "$build"/sandbox/*.exe sandbox/sample_* \
        "$drive/sandbox/"
    sandbox_set 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs'
    # For this program only: Wine's own services would not start with the simulation.
    sandbox_set 'HKCU\Software\Wine\AppDefaults\norvane64.exe\DllOverrides' /v ws2_32 /d native
    sandbox_set "$netcfg" /ve /d 'C:\sandbox\stand_in_netcfg.dll'
    sandbox_set "$netcfg" /v ThreadingModel /d Both
    sandbox_winsock update
}

# sandbox_machine KIND [FILE]: makes the sample machine: catalogs and their DLLs, a shared count, network
# components and classes. KIND is that of sandbox_winsock. FILE describes other catalogs: a registry export,
# the output of netsh, or a state file. Messages have its base name.
sandbox_machine() {
    local file=${2:-sandbox/sample_winsock.txt}
    sandbox_winsock "$1"
    cp "$file" "$drive/sandbox/given"
    sandbox_check "${file##*/}" convert given winsock.txt >/dev/null
    sandbox_state winsock "${file##*/}"
    sandbox_check winsock.txt make-dlls winsock.txt >/dev/null
    cp sandbox/sample_netcfg.txt "$drive/sandbox/netcfg.txt"
    sandbox_state netcfg sample_netcfg.txt
    echo "stands for a DLL" >"$drive/windows/system32/original.dll"
    sandbox_wine reg import 'C:\sandbox\sample_registry.reg' >/dev/null 2>&1 ||
        script_fail "The sample registry was refused"
}

# sandbox_check NAME ARGUMENTS...: runs check_state and prints its result. Ends the script with the error, in
# which NAME stands for the checked file.
sandbox_check() {
    local result
    result=$(sandbox_wine 'C:\sandbox\check_state.exe' "${@:2}" | tr -d '\r') || true
    [[ $result == sound* ]] || script_fail "$1:${result:- could not be checked}"
    echo "$result"
}

# sandbox_state SIMULATION NAME: checks the state file of a simulation, and makes the drives that paths in it
# name, each a folder of the prefix.
sandbox_state() {
    local result letter
    result=$(sandbox_check "$2" "$1" "$1.txt")
    for letter in ${result#sound}; do
        [ "$letter" = c ] || {
            mkdir -p "$WINEPREFIX/drive_$letter"
            ln -sfn "../drive_$letter" "$WINEPREFIX/dosdevices/$letter:"
        }
    done
}

# sandbox_simulation CALL: prints which simulation, "winsock" or "netcfg", has the call. Fails when none has
# it.
sandbox_simulation() {
    if grep -qF "X($1)" simulation/winsock_functions.h; then
        echo winsock
    else
        sed -n '/ kMethods = {/,/};/p' simulation/netcfg_state.cpp | grep -F "\"$1\"" >/dev/null &&
            echo netcfg
    fi
}

# sandbox_fault "fail CALL NUMBER CODE": adds a planned failure to the simulation that has the call.
sandbox_fault() {
    local words simulation
    read -ra words <<<"$1"
    simulation=$(sandbox_simulation "${words[1]}")
    echo "$1" >>"$drive/sandbox/$simulation.txt"
    sandbox_check "--fail" "$simulation" "$simulation.txt" >/dev/null
}

# sandbox_set KEY ARGUMENTS...: writes a registry value with "reg add".
sandbox_set() {
    sandbox_wine reg add "$@" /f >/dev/null || script_fail "reg add $* failed"
}

# sandbox_test BUILD FILTER: makes the prefix with the release build and BUILD, and runs the tests of BUILD
# that match. The traces of docs/trace.md are cases, too. The last line is "N passed, N failed", or the cause.
# Wine's exit code can be 0 after a crash, but GoogleTest writes its results only when all tests have ended.
sandbox_test() {
    local results=$drive/tests.xml try code current tests ran failed
    sandbox_make build/release "build/$1"
    cp "build/$1/tests/norvane_tests.exe" "$drive/sandbox/"
    cp -r tests/cases "$drive/sandbox/"
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md >"$drive/sandbox/cases/run_traces.txt"
    for try in 1 2 3; do
        code=0
        sandbox_run_tests "--gtest_filter=$2" '--gtest_output=xml:C:\tests.xml' || code=$?
        { [ ! -e "$results" ] && sandbox_refused "$SANDBOX/errors"; } || break
        echo "Wine refused to start, try $try"
    done
    { ((code == 0)) && grep -qs '^<testsuites .* failures="0"' "$results"; } || cat "$SANDBOX/errors"
    if ! grep -qs '^</testsuites>' "$results"; then
        current=$(sed -n 's/\r$//; s/^\[ RUN      \] //p' "$SANDBOX/tests.log" | tail -n 1)
        ((code != 124 && code != 137)) || script_fail "More than ten minutes passed, in ${current:-no test}."
        script_fail "The test program ended early, with exit code $code, in ${current:-no test}."
    fi
    tests=$(grep -c '<testcase ' "$results") || script_fail "No test matches '$2'."
    ran=$(grep -c '<testcase .* result="completed"' "$results") || true
    failed=$(sed -n 's/^<testsuites .* failures="\([0-9]*\)".*/\1/p' "$results")
    ((ran == tests)) || script_fail "Only $ran of $tests tests ran."
    ((failed > 0 || code == 0)) || script_fail "The test program ended with exit code $code after its tests."
    # Those of a second or more.
    sed -n 's/.*<testcase name="\(.*\)" file.* time="\([1-9][^"]*\)".* classname="\(.*\)".*/\2 s, \3.\1/p' \
        "$results" | sort -rn | sed -n '1,3s/^/Longest: /p'
    echo "$((tests - failed)) passed, $failed failed"
    ((failed == 0))
}

# sandbox_run_tests OPTIONS...: runs the test program, and shows what failing tests print as it arrives. Its
# output is in $SANDBOX/tests.log, and what it wrote to standard error in $SANDBOX/errors. Not through a pipe,
# which a remaining child of the program would keep open. When Wine's server dies, the program would wait for
# it forever, and is ended.
sandbox_run_tests() {
    local log=$SANDBOX/tests.log program
    : >"$log" # there when it is first read
    (sandbox_exec 'C:\sandbox\norvane_tests.exe' "$@" >>"$log" 2>"$SANDBOX/errors") &
    program=$!
    {
        # Not before the program has started: the server of the previous program may still be ending.
        while [ ! -s "$log" ] && kill -0 "$program"; do sleep 0.1; done
        "$(sandbox_find wineserver64 wineserver)" -w && sleep 3 && kill "$program"
    } 2>/dev/null &
    # What a test prints is held until the test fails, and is dropped when it passes.
    tail -n +1 -f -s 0.2 --pid="$program" "$log" | sed -un 's/\r$//; /^\[\(-*\|  PASSED  \)\] /d
        /^\[=*\] /{p;d}; /^\[ *\(RUN\|OK\) /{s/.*//;x;d}
        H; /^\[  FAILED  \] .* (/!{$!d}; s/.*//; x; s/^\n*//; /./p'
    wait "$program"
}
