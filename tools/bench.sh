#!/usr/bin/env bash
# Measures the release programs under Wine. Prints how long a start, a rejected command line and a rehearsal
# take in relation to an empty program, and the own time of a removal by the number of entries. Takes no
# arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_arguments 0 "$@"

# measure NAME COMMAND ...: prints the shortest time of each command, and its ratio to the first. The commands
# can have any exit code.
measure() {
    local names=() commands=() log=$SANDBOX/hyperfine.log
    while (($# > 0)); do
        names+=(--command-name "$1")
        commands+=("$sandbox_loader $2")
        shift 2
    done
    (cd "$drive/sandbox" && hyperfine --style none --ignore-failure --shell none --warmup 3 --runs 40 \
        --export-csv "$SANDBOX/times.csv" "${names[@]}" "${commands[@]}" >/dev/null 2>"$log") ||
        script_fail "hyperfine failed: $(tail -n 1 "$log")"
    awk -F, 'NR == 2 { first = $7 }
        NR > 1 { printf "%-32s %6.1f ms, ratio %.2f\n", $1 ":", 1000 * $7, $7 / first }' "$SANDBOX/times.csv"
}

if sandbox_inside; then
    sandbox_make build/bench
    cp build/bench/tools/bench/norvane_bench.exe "$drive/sandbox/"
    # The empty program has the name of the real one, so that it loads the same ws2_32.dll.
    mkdir "$drive/sandbox/empty"
    cp build/bench/tools/bench/norvane_empty.exe "$drive/sandbox/empty/norvane64.exe"
    sandbox_machine update
    sandbox_wine 'C:\sandbox\norvane_bench.exe' 50 'C:\sandbox\machine.reg'
    # While a program runs, Wine's services do not stop, and a start does not wait for them.
    sandbox_exec ping -n 600 127.0.0.1 >/dev/null 2>&1 &
    ping=$!
    verdict=0
    sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' --from machine.reg lsp lsp1.dll >/dev/null ||
        verdict=$?
    ((verdict == 4)) || script_fail "The rehearsal did not end with 4, BREAKS NETWORKING, but with $verdict."
    measure "empty program" empty/norvane64.exe \
        "start-up of the rehearsal" "norvane64-rehearse.exe --version" \
        "rejected command line" "bench/norvane64.exe remove" \
        "rehearsal of 50 entries" "norvane64-rehearse.exe --from machine.reg lsp lsp1.dll"
    sandbox_wine 'C:\sandbox\norvane_bench.exe' | tr -d '\r'
    kill "$ping"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}" hyperfine
build bench
sandbox_open bench
sandbox_enter "$script"
