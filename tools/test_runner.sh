# Runs a GoogleTest program in the sandbox, and checks that every test ran. To be sourced.

# test_files BUILD: copies the test program of a build and the cases into the sandbox. The traces of
# docs/trace.md become cases, too.
test_files() {
    cp "build/$1/tests/norvane_tests.exe" "$drive/sandbox/"
    cp -r tests/cases "$drive/sandbox/"
    awk -v PAGE=trace -f tools/traces_to_cases.awk docs/trace.md >"$drive/sandbox/cases/run_traces.txt"
}

# Shows the output of a run as it arrives. What a test prints is shown when it fails; some tests print
# messages of failures that they cause. With BRIEF=1 in the environment there is one line for each suite
# instead of each test.
test_output() {
    local line held='' inside=''
    while IFS= read -r line || [ -n "$line" ]; do
        line=${line%$'\r'}
        case $line in
        '[ RUN '*)
            inside=1
            if test_brief; then held=$line$'\n'; else echo "$line"; fi
            ;;
        '[       OK '*)
            inside='' held=''
            test_brief || echo "$line"
            ;;
        '[  FAILED '*)
            printf '%s%s\n' "$held" "$line"
            inside='' held=''
            ;;
        '[---'*' total)') echo "$line" ;;
        '' | '[---'* | '[==='* | '[  PASSED '* | 'Note: '*) test_brief || echo "$line" ;;
        *) if [ -n "$inside" ]; then held+=$line$'\n'; else echo "$line"; fi ;;
        esac
    done
    printf '%s' "$held"
}

test_brief() {
    [ "${BRIEF:-0}" = 1 ]
}

# summary_of LOG TEXT: the number after PASSED or FAILED in the summary of GoogleTest.
summary_of() {
    sed -n "s/^\[  $2  \] \([0-9]*\) tests\?[.,].*/\1/p" "$1" | head -n 1
}

# run_logged LOG COMMAND...: runs a Windows program with its output in LOG, and on the terminal as it arrives.
# Not through a pipe, which a remaining child of the program would keep open. When Wine's server dies, the
# program would wait for it forever, and is ended.
run_logged() {
    local log=$1 program watch
    shift
    : >"$log" # there when it is first read
    (sandbox_exec "$@" >>"$log" 2>&1) &
    program=$!
    {
        # Not before the program has started: the server of the previous program may still be ending.
        while [ ! -s "$log" ] && kill -0 "$program"; do sleep 0.1; done
        "$(sandbox_find wineserver64 wineserver)" -w && sleep 3 && kill "$program"
    } 2>/dev/null &
    watch=$!
    tail -n +1 -f --pid="$program" "$log" | test_output &
    wait "$program" || echo "(exit code $?)" >>"$log"
    wait $!
    kill "$watch" 2>/dev/null || true
}

# run_tests PROGRAM FILTER: runs the tests that match. Wine's exit code is not reliable: it can be 0 after a
# crash. So a run succeeds when its summary exists and counts as many tests as are listed. The last line is "N
# passed, N failed", or the cause.
run_tests() {
    local log=$SANDBOX/tests.log listed passed failed current try
    listed=$(sandbox_wine "$1" --gtest_list_tests "--gtest_filter=$2" | grep -c '^  ') || true
    ((listed > 0)) || script_fail "No test matches '$2'."
    for try in 1 2 3; do
        run_logged "$log" "$1" "--gtest_filter=$2"
        sandbox_refused "$log" || break
        echo "Wine refused to start, try $try"
    done
    passed=$(summary_of "$log" PASSED)
    failed=$(summary_of "$log" FAILED)
    if [ -z "$passed" ]; then
        current=$(tr -d '\r' <"$log" | sed -n 's/^\[ RUN      \] //p' | tail -n 1)
        ! grep -q '^(exit code \(124\|137\))$' "$log" ||
            script_fail "The tests took more than ten minutes, in ${current:-none yet}."
        script_fail "The test program ended without its summary, in ${current:-no test yet}."
    fi
    ((passed + ${failed:-0} == listed)) || script_fail "Only $((passed + ${failed:-0})) of $listed tests ran."
    echo "$passed passed, ${failed:-0} failed"
    ((${failed:-0} == 0))
}
