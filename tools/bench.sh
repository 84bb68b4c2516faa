#!/usr/bin/env bash
# Measures the release executable and the removal code, in one run under Wine. Judges nothing. Takes no words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
script_arguments 0 "$@"

# peak WORDS...: the most memory that a program held, in KiB; the smallest of several runs.
peak() {
    local run
    for run in 1 2 3 4 5 6 7 8 9 10; do
        sandbox_machine update
        (cd "$drive/sandbox" && /usr/bin/time -f 'peak %M' "$sandbox_loader" "$@" 2>&1 >/dev/null) |
            sed -n 's/^peak //p'
    done | sort -n | head -n 1
}

if sandbox_inside; then
    sandbox_make build/bench
    # Under the same name, to get the same ws2_32.dll.
    mkdir "$drive/sandbox/empty"
    cp build/bench/tools/bench/norvane_empty.exe "$drive/sandbox/empty/norvane64.exe"
    cp build/bench/tools/bench/norvane_bench.exe "$drive/sandbox/"
    sandbox_machine update
    sandbox_wine 'C:\sandbox\norvane_bench.exe' 2>&1 | tee "$SANDBOX/bench.log"
    grep -q '^trace line: ' "$SANDBOX/bench.log" || script_fail "The benchmark ended before its last figure."
    no_figure="A program ended before its memory was known."
    empty=$(peak 'C:\sandbox\empty\norvane64.exe') || script_fail "$no_figure"
    removal=$(peak 'C:\sandbox\bench\norvane64.exe' remove lsp examplelsp.dll) || script_fail "$no_figure"
    echo "peak memory: a removal $removal KiB, the empty program $empty KiB, $((removal - empty)) KiB above it"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}" time
build bench
sandbox_open bench
sandbox_enter "$script"
