#!/usr/bin/env bash
# Runs .ci/run on the committed files, in a fresh root of a Debian release that has nothing installed but git.
# Needs root rights, the network, and 5 GB in the folder for temporary files.
#
# tools/fresh_root.sh 12|13 [COMMAND...]
#   12|13    the release
#   COMMAND  runs instead of .ci/run, at the top of the checkout
#
# Exit code: that of the command. The root is removed when the script ends.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
case ${1:-} in
12) release=bookworm ;;
13) release=trixie ;;
*) script_arguments 1 "${@:1:1}" && script_refuse "The release is 12 or 13${1:+, not $1}" ;;
esac
shift
(($# > 0)) || set -- .ci/run
((EUID == 0)) || script_fail "This script needs root rights."
setup_packages debootstrap git

root=$(mktemp -d)
chmod 755 "$root"
# The processes in the root end before the root is removed.
trap 'kill -KILL "${inside:-}" 2>/dev/null || true; wait; rm -rf --one-file-system "$root" "$root.log"' EXIT
echo "Installing Debian $release into a folder ..." >&2
debootstrap --variant=minbase --include=git,ca-certificates "$release" "$root" >"$root.log" 2>&1 || {
    tail -n 5 "$root.log" >&2
    script_fail "debootstrap failed"
}
rm "$root.log"
git clone -q . "$root/norvane"
cp /etc/resolv.conf "$root/etc/"
# The root has processes of its own, which end with this script, and no access to this machine's files. A mere
# chroot is not enough: the kernel grants no namespaces in it, and the sandbox would have no jail.
# shellcheck disable=SC2016
unshare --mount --pid --fork --kill-child bash -ec '
    mount --bind "$1" "$1"
    cd "$1"
    mount -t proc proc proc
    mount --rbind /dev dev
    mkdir host
    pivot_root . host
    umount -l host
    cd /norvane
    exec env -i HOME=/root PATH="$PATH" TERM=dumb "${@:2}"' - "$root" "$@" </dev/null &
inside=$!
wait "$inside"
