#!/usr/bin/env bash
# Makes a release in dist. norvane64-VERSION.zip has both programs, the documentation, the licences of the
# libraries, and SHA256SUMS; its name ends with -signed when the programs are signed.
# norvane64-VERSION-symbols.zip has the symbols. The same commit gives the same bytes in every folder and time
# zone; signed ones differ, because a signature has a time. VERSION is 1.2.0 at the tag v1.2.0, otherwise
# 1.2.0-dev+COMMIT. Installs missing packages, and says so first.
#
# tools/package.sh [--allow-dirty] [--sign CERT KEY [--timestamp URL]]
#   --allow-dirty  accepts a folder with uncommitted changes, or without git; the names then end with -dirty
#   --sign         signs both programs, with a certificate and its key in PEM files
#   --timestamp    adds a time stamp of the authority at URL to the signatures
. "$(dirname "$0")/script.sh"
. tools/setup.sh
allow_dirty='' certificate='' timestamp=''
while (($# > 0)); do
    case $1 in
    --allow-dirty) allow_dirty=1 && shift ;;
    --sign)
        (($# >= 3)) || script_refuse "--sign takes a certificate and a key"
        certificate=$(cd "$script_caller" && realpath -e "$2") || script_fail "This file does not exist: $2"
        key=$(cd "$script_caller" && realpath -e "$3") || script_fail "This file does not exist: $3"
        shift 3
        ;;
    --timestamp)
        (($# >= 2)) || script_refuse "--timestamp takes the URL of an authority"
        timestamp=$2 && shift 2
        ;;
    *) script_arguments 0 "$@" ;;
    esac
done
[[ -z $timestamp || -n $certificate ]] || script_refuse "--timestamp needs --sign"
script_lock
setup_install "${setup_compiler[@]}" git zip ${certificate:+osslsigncode}

# why_dirty: prints why this folder is not a commit; nothing when it is.
why_dirty() {
    local changes
    if [ ! -e .git ]; then
        echo "This folder is no checkout of git."
    elif ! changes=$(git status --porcelain 2>&1); then
        echo "git does not know whether this folder has changes: $changes"
    elif [ -n "$changes" ]; then
        printf 'Changes that are not committed:\n%s\n' "$changes"
    fi
}

# sign FOLDER: signs the programs in it.
sign() {
    local program
    for program in "$1"/*.exe; do
        osslsigncode sign -certs "$certificate" -key "$key" ${timestamp:+-ts "$timestamp"} \
            -h sha256 -n Norvane -in "$program" -out "$program.signed" >"$stage/log" 2>&1 ||
            script_fail "$(cat "$stage/log")
This program could not be signed: ${program##*/}"
        mv "$program.signed" "$program"
    done
}

# pack FOLDER ZIP: packs the folder's files in a fixed order, each with the earliest time that a zip can
# store.
pack() {
    find "$1" -exec touch -d 1980-01-01T00:00:00Z {} +
    chmod -R u=rwX,go=rX "$1"
    (cd "${1%/*}" && find "${1##*/}" | LC_ALL=C sort | TZ=UTC0 zip -qX9 "$2" -@)
}

dirty=$(why_dirty)
[[ -z $dirty || -n $allow_dirty ]] || script_fail "$dirty
A release is made of a commit; --allow-dirty makes a package for trials."
build release
version=$(sed -n 's/^#define NORVANE_VERSION "\(.*\)"/\1/p' build/release/version.h)${dirty:+-dirty}
name=norvane64-$version
zip=$name${certificate:+-signed}.zip
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
# A failure leaves no older package under the same name.
rm -f "dist/$zip" "dist/$name-symbols.zip"
cmake --install build/release --prefix "$stage/$name" >/dev/null
if [ -n "$certificate" ]; then
    sign "$stage/$name"
    sums=$(cd "$stage/$name" && sed 's/^[0-9a-f]*  //' SHA256SUMS | xargs -d '\n' sha256sum)
    echo "$sums" >"$stage/$name/SHA256SUMS"
fi
mkdir -p dist "$stage/$name-symbols"
cp build/release/*.exe.debug "$stage/$name-symbols/"
pack "$stage/$name" "$stage/$zip"
pack "$stage/$name-symbols" "$stage/$name-symbols.zip"
mv "$stage/$zip" "$stage/$name-symbols.zip" dist/
(cd dist && sha256sum "$zip" "$name-symbols.zip")
