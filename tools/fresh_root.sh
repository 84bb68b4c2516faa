#!/usr/bin/env bash
# Runs .ci/run on what is committed, in a fresh root of a Debian release that has nothing installed but git. For maintainers,
# as root; needs the network and 5 GB among the temporary files.
#
# tools/fresh_root.sh 12|13 [COMMAND...]
#   12|13    the release
#   COMMAND  instead of .ci/run, at the top of the checkout
#
# Exit code: that of the command. The root goes when the script ends.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
case ${1:-} in
12) release=bookworm ;;
13) release=trixie ;;
*) script_words 0 "$@" && script_refuse "a release is missing" ;;
esac
shift
(($# > 0)) || set -- .ci/run
((EUID == 0)) || script_fail "Only root can make a root."
setup_packages debootstrap git

root=$(mktemp -d)
chmod 755 "$root"
# What runs in the root ends before the root goes.
trap 'kill -KILL "${inside:-}" 2>/dev/null || true; wait; rm -rf --one-file-system "$root" "$root.log"' EXIT
echo "Making a root of Debian $release" >&2
debootstrap --variant=minbase --include=git,ca-certificates "$release" "$root" >"$root.log" 2>&1 || {
    tail -n 5 "$root.log" >&2
    script_fail "debootstrap failed"
}
rm "$root.log"
git clone -q . "$root/norvane"
cp /etc/resolv.conf "$root/etc/"
# Its own processes, which end with this script, and no way back to this machine's files. Not a mere chroot: the kernel grants
# no namespaces in there, and the sandbox would have no jail.
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
