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
setup_packages debootstrap bubblewrap git

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
echo "Making a root of Debian $release" >&2
debootstrap --variant=minbase --include=git,ca-certificates "$release" "$root" >"$root.log" 2>&1 || {
    tail -n 5 "$root.log" >&2
    script_fail "debootstrap failed"
}
rm "$root.log"
git clone -q . "$root/norvane"
# Its own processes, and no way back to this machine's files; the network is needed for the packages.
bwrap --bind "$root" / --dev /dev --proc /proc --ro-bind /etc/resolv.conf /etc/resolv.conf --unshare-pid --unshare-ipc \
    --die-with-parent --cap-add ALL --chdir /norvane --clearenv --setenv HOME /root --setenv PATH "$PATH" \
    --setenv TERM "${TERM:-dumb}" "$@" </dev/null &
wait $!
