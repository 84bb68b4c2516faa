#!/usr/bin/env bash
# Measures the release executable and the removal code, in one run under Wine. Judges nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. sandbox/sandbox.sh
export WINEPREFIX=$PWD/build/sandbox/bench

setup_build
setup_packages time
build bench
sandbox_make build/bench
# Under the same name, to get the same ws2_32.dll.
mkdir "$WINEPREFIX/drive_c/sandbox/empty"
cp build/bench/tools/bench/norvane_empty.exe "$WINEPREFIX/drive_c/sandbox/empty/norvane64.exe"
sandbox_machine update
trap sandbox_stop EXIT
sandbox_wine build/bench/tools/bench/norvane_bench.exe

# peak WORDS...: the most memory that a program held, in KiB; the smallest of several runs.
peak() {
    local run
    for run in 1 2 3 4 5 6 7 8 9 10; do
        sandbox_machine update
        { /usr/bin/time -f 'peak %M' /usr/lib/wine/wine64 "$@" >/dev/null; } 2>&1 | sed -n 's/^peak //p'
    done | sort -n | head -n 1
}
empty=$(peak 'C:\sandbox\empty\norvane64.exe')
removal=$(peak 'C:\sandbox\bench\norvane64.exe' remove lsp examplelsp.dll)
echo "peak memory: a removal $removal KiB, the empty program $empty KiB, $((removal - empty)) KiB above it"
