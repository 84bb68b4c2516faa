#!/usr/bin/env bash
# Runs norvane64-rehearse under Wine, with the same arguments. It shows what "remove lsp" would do to a
# machine, and changes nothing.
#
# tools/rehearse.sh [ARGUMENTS...]
#   ARGUMENTS  of norvane64-rehearse, such as "list" or "--from winsock.reg lsp NAME.dll"; see
#              tools/rehearse.sh lsp --help
#
# Without --from it reads an empty Wine prefix, which has no catalogs. The output names each file without its
# folder. The messages and the exit code are those of norvane64-rehearse: "lsp" ends with 0 CLEAN,
# 2 NOT FOUND, 3 LEAVES PARTS, 4 BREAKS NETWORKING, 6 CANNOT REMOVE or 7 CANNOT TELL, "list" with 0, with 5
# when an entry does not work, or with 7. 1 is an error, also an argument that it does not know.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. sandbox/sandbox.sh
[[ ! ${1:-} =~ ^(-h|--help)$ ]] || script_arguments 0 --help

if sandbox_inside; then
    sandbox_make build/release
    cp -r "$SANDBOX/inputs/." "$drive/sandbox/"
    sandbox_wine 'C:\sandbox\norvane64-rehearse.exe' "$@" | tr -d '\r'
    exit
fi
script_lock
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
sandbox_open rehearse
# In the sandbox, a file has its base name.
file=
arguments=()
options=1
while (($# > 0)); do
    [ "$options$1" != 1--from ] || (($# == 1)) || set -- "--from=$2" "${@:3}"
    case $options$1 in
    1--) options=0 ;;
    1--from=?*)
        file=${1#*=}
        sandbox_input "$file"
        set -- "--from=${file##*/}" "${@:2}"
        ;;
    esac
    arguments+=("$1")
    shift
done
[ -n "$file" ] || echo "Without --from this reads an empty Wine prefix, which has no catalogs." >&2
build release
sandbox_enter "$script" "${arguments[@]}"
