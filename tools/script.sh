# What all scripts share: help, arguments, failure, and one run at a time. A script sources it first. It
# changes to the top of the checkout.

set -euo pipefail
script=$(realpath "$0")
script_caller=$PWD
cd -P "$(dirname "${BASH_SOURCE[0]}")/.."

# Without these a script would continue after a command that handles Ctrl-C as a failure of its own.
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# Prints the help of the script, which is the comment at its head.
script_help() {
    sed -n '2,/^[^#]/{/^# shellcheck /d;s/^# \{0,1\}//p}' "$script"
}

# script_fail CAUSE: ends the script.
script_fail() {
    echo "$*" >&2
    exit 1
}

# script_refuse CAUSE: ends the script because of its arguments.
script_refuse() {
    { script_help && printf '\n%s\n' "$*"; } >&2
    exit 2
}

# script_arguments MOST ARGUMENTS...: answers -h and --help, and refuses other options and more than MOST
# arguments.
script_arguments() {
    local most=$1 argument
    shift
    for argument; do
        case $argument in
        -h | --help) script_help && exit 0 ;;
        -*) script_refuse "Unknown option: $argument" ;;
        esac
    done
    (($# <= most)) || script_refuse "Unexpected argument: ${*:most + 1:1}"
}

# script_check WHAT COMMAND...: runs a command that succeeds when WHAT is true, and reports it. Sets failed to
# 1 when the command fails.
script_check() {
    if "${@:2}"; then echo "ok: $1"; else echo "FAILED: $1" && failed=1; fi
}

# not COMMAND...: succeeds when the command fails.
not() {
    ! "$@"
}

# has TEXT PART: whether a text contains another.
has() {
    [[ $1 == *"$2"* ]]
}

# Waits until no other script runs in this checkout. The next one can start when this script has ended.
script_lock() {
    mkdir -p build
    exec {script_lock_fd}>build/.lock
    flock -n "$script_lock_fd" && return
    echo "Another script runs in this checkout; waiting until it ends ..." >&2
    flock "$script_lock_fd"
}
