# Runs a GoogleTest program in the sandbox and says truly how it went. To be sourced.

# test_files BUILD: puts the test program of a build, the cases, and the traces of docs/trace.md as cases into the sandbox.
test_files() {
    cp "build/$1/tests/norvane_tests.exe" "$drive/sandbox/"
    cp -r tests/cases "$drive/sandbox/"
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md >"$drive/sandbox/cases/run_traces.txt"
}

# What the terminal gets of a run: with BRIEF=1 in the environment, no line for a test that passes.
test_output() {
    if [ "${BRIEF:-0}" = 1 ]; then
        grep --line-buffered -v '^\[ RUN  \|^\[       OK\|^\[---' || true
    else
        cat
    fi
}

# summary_of LOG TEXT: the number behind that word of the runner's own summary.
summary_of() {
    sed -n "s/^\[  $2  \] \([0-9]*\) tests\?[.,].*/\1/p" "$1" | head -n 1
}

# run_logged LOG WORDS...: runs a Windows program with its output in LOG, and on the terminal as it comes. Not through a
# pipe: a child of the program that lives on would keep it open. Where Wine's server dies, a program would wait for it: both end.
run_logged() {
    local log=$1 program watch
    shift
    : >"$log" # there when it is first read
    (sandbox_exec "$@" >>"$log" 2>&1) &
    program=$!
    {
        # Not before it has begun: the server of the program before it may just be ending.
        while [ ! -s "$log" ] && kill -0 "$program"; do sleep 0.1; done
        "$(sandbox_find wineserver64 wineserver)" -w && sleep 3 && kill "$program"
    } 2>/dev/null &
    watch=$!
    tail -n +1 -f --pid="$program" "$log" | test_output &
    wait "$program" || echo "(exit code $?)" >>"$log"
    wait $!
    kill "$watch" 2>/dev/null || true
}

# run_tests PROGRAM FILTER: runs the tests that match. Wine's exit code says nothing of them: it was seen to be 0 after
# crashes. So a run is good when its summary is there and counts as many tests as are listed. The last line is
# "N passed, N failed", or what else is wrong.
run_tests() {
    local log=$SANDBOX/tests.log listed passed failed current try
    listed=$(sandbox_wine "$1" --gtest_list_tests "--gtest_filter=$2" | grep -c '^  ') || true
    ((listed > 0)) || script_fail "No test matches '$2'."
    for try in 1 2 3; do
        run_logged "$log" "$1" "--gtest_filter=$2"
        sandbox_refused "$log" || break
        echo "Wine refused the start, try $try"
    done
    passed=$(summary_of "$log" PASSED)
    failed=$(summary_of "$log" FAILED)
    if [ -z "$passed" ]; then
        current=$(tr -d '\r' <"$log" | sed -n 's/^\[ RUN      \] //p' | tail -n 1)
        ! grep -q '^(exit code \(124\|137\))$' "$log" || script_fail "The tests took more than ten minutes, in ${current:-none yet}."
        script_fail "The test program ended without its summary, in ${current:-no test yet}."
    fi
    ((passed + ${failed:-0} == listed)) || script_fail "Only $((passed + ${failed:-0})) of $listed tests ran."
    echo "$passed passed, ${failed:-0} failed"
    ((${failed:-0} == 0))
}
