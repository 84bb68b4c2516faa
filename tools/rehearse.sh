#!/usr/bin/env bash
# Runs norvane64-rehearse under Wine, with the same arguments. It shows what "remove lsp" would do to a
# machine, and changes nothing. Installs missing packages.
#
# tools/rehearse.sh [--picture FILE ...] [--brief] list | lsp NAME.dll
#   --picture FILE  a registry export of the machine, or a state file of the sandbox; several can be given
#
# Without a file it reads an empty Wine prefix, which has no catalogs. Exit code, as of norvane64-rehearse: 0
# CLEAN, 2 NOTHING TO DO, 3 LEAVES WORK, 4 BREAKS OTHERS, 1 an error.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
[[ ! ${1:-} =~ ^(-h|--help)$ ]] || script_arguments 0 --help

# The files with the names that they were given, and the arguments with a name in the sandbox for each. In the
# jail the arguments have these names already, and keep them. Unknown arguments are refused by the program,
# with exit code 1, because 2 is NOTHING TO DO.
pictures=()
words=()
while (($# > 0)); do
    words+=("$1")
    if [[ $1 == --picture && $# -gt 1 ]]; then
        pictures+=("$2")
        words+=("picture-${#pictures[@]}-given")
        shift
    fi
    shift
done

# In the output, the files have their own names again.
rename_pictures() {
    local number program=''
    for ((number = ${#pictures[@]}; number > 0; --number)); do
        # shellcheck disable=SC2001 # the pattern is more than bash replaces
        program+="s|picture-$number-given|$(sed 's/[|&\\]/\\&/g' <<<"${pictures[number - 1]}")|g;"
    done
    sed "$program"
}

if sandbox_inside; then
    sandbox_make build/release
    cp "$SANDBOX"/picture-*-given "$drive/sandbox/" 2>/dev/null || true
    sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' "${words[@]}"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
build release
sandbox_open rehearse
for number in "${!pictures[@]}"; do
    (cd "$script_caller" && cp "${pictures[number]}" "$sandbox/picture-$((number + 1))-given") ||
        script_fail "The picture cannot be read: ${pictures[number]}"
done
code=0
sandbox_enter "$script" "${words[@]}" > >(rename_pictures) 2> >(rename_pictures >&2) || code=$?
wait
((code != 1 || ${#pictures[@]} > 0)) ||
    echo "Without --picture this looks at an empty Wine prefix, which has no catalogs." >&2
exit "$code"
