# What every script does alike: its help, its end, and one run at a time. To be sourced first; it changes to the top of
# the checkout.

set -euo pipefail
script=$(realpath "$0")
script_caller=$PWD
cd -P "$(dirname "${BASH_SOURCE[0]}")/.."

# Without these a script would go on after a command that takes Ctrl-C for a failure of its own.
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# A script's help is the comment at its head.
script_help() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$script"
}

# script_fail CAUSE: ends the script.
script_fail() {
    echo "$*" >&2
    exit 1
}

# script_refuse CAUSE: ends the script over words that it does not know.
script_refuse() {
    { script_help && printf '\n%s\n' "$*"; } >&2
    exit 2
}

# script_words MOST WORDS...: answers --help, and refuses other options and more words than MOST.
script_words() {
    local most=$1
    shift
    if [ "${1:-}" = --help ]; then
        script_help
        exit 0
    fi
    [[ ${1:-} != -* ]] || script_refuse "unknown option: $1"
    (($# <= most)) || script_refuse "unexpected word: ${*: -1}"
}

# script_check WHAT COMMAND ARGUMENTS...: runs a command that is true when WHAT holds, and reports it. Sets failed to 1
# when the command fails.
script_check() {
    if "${@:2}"; then echo "ok: $1"; else echo "FAILED: $1" && failed=1; fi
}

# not COMMAND ARGUMENTS...: true when the command fails.
not() {
    ! "$@"
}

# has TEXT PART: whether a text contains another.
has() {
    [[ $1 == *"$2"* ]]
}

# Waits until no other run is under way in this checkout. The next one can start when this script has ended.
script_lock() {
    mkdir -p build
    exec {script_lock_fd}>build/.lock
    flock -n "$script_lock_fd" && return
    echo "Another run is under way in this checkout; waiting for its end" >&2
    flock "$script_lock_fd"
}
