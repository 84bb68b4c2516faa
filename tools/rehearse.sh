#!/usr/bin/env bash
# Runs norvane64-rehearse under Wine, with the same arguments. It shows what "remove lsp" would do to a
# machine, and changes nothing. Installs missing packages.
#
# tools/rehearse.sh [ARGUMENTS...]
#   ARGUMENTS  of norvane64-rehearse, such as "list" or "--from winsock.reg lsp NAME.dll"; see
#              tools/rehearse.sh lsp --help
#
# Without --from it reads an empty Wine prefix, which has no catalogs. The messages and the exit code are
# those of norvane64-rehearse: "lsp" ends with 0 CLEAN, 2 NOTHING TO DO, 3 INCOMPLETE or 4 BREAKS NETWORKING,
# "list" with 0, or with 5 when an entry does not work. 1 is an error, also an argument that it does not know.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
[[ ! ${1:-} =~ ^(-h|--help)$ ]] || script_arguments 0 --help

# The input files with the names that they were given, and the arguments with a name in the sandbox for each.
# In the jail the arguments have these names already, and keep them.
inputs=()
arguments=()
options=1
while (($# > 0)); do
    case $options$1 in
    1--) options=0 ;;
    1--from=?*) inputs+=("${1#*=}") && set -- "--from=rehearse.sh-input-${#inputs[@]}" "${@:2}" ;;
    1--from) (($# == 1)) || { inputs+=("$2") && set -- "--from=rehearse.sh-input-${#inputs[@]}" "${@:3}"; } ;;
    esac
    arguments+=("$1")
    shift
done

# In the output, the files have their own names again.
rename_inputs() {
    local number program=''
    for ((number = ${#inputs[@]}; number > 0; --number)); do
        # shellcheck disable=SC2001 # the pattern is more than bash replaces
        program+="s|rehearse.sh-input-$number|$(sed 's/[|&\\]/\\&/g' <<<"${inputs[number - 1]}")|g;"
    done
    sed "$program"
}

if sandbox_inside; then
    sandbox_make build/release
    cp "$SANDBOX"/rehearse.sh-input-* "$drive/sandbox/" 2>/dev/null || true
    sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' "${arguments[@]}"
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
build release
sandbox_open rehearse
# The program reports a file that is missing.
for number in "${!inputs[@]}"; do
    (cd "$script_caller" &&
        cp -- "${inputs[number]}" "$sandbox/rehearse.sh-input-$((number + 1))" 2>/dev/null) || true
done
code=0
sandbox_enter "$script" "${arguments[@]}" > >(rename_inputs) 2> >(rename_inputs >&2) || code=$?
wait
((code != 1 || ${#inputs[@]} > 0)) ||
    echo "Without --from this reads an empty Wine prefix, which has no catalogs." >&2
exit "$code"
