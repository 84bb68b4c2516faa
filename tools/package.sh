#!/usr/bin/env bash
# Makes the release. dist/norvane64-VERSION.zip has both programs, the documentation, the licences of the
# libraries, and SHA256SUMS; dist/norvane64-VERSION-symbols.zip has the symbols. The same commit gives the
# same bytes in every folder and time zone. Signed packages differ, because a signature contains its time.
# Installs missing packages.
#
# tools/package.sh [--sign CERT KEY]
#   --sign  signs both programs, with a certificate and its key in PEM files
. "$(dirname "$0")/script.sh"
. tools/setup.sh
certificate=
if [ "${1:-}" = --sign ]; then
    (($# == 3)) || script_refuse "--sign takes a certificate and a key"
    certificate=$(cd "$script_caller" && realpath -e "$2") || script_fail "This file does not exist: $2"
    key=$(cd "$script_caller" && realpath -e "$3") || script_fail "This file does not exist: $3"
    shift 3
fi
script_arguments 0 "$@"
script_lock
setup_packages "${setup_compiler[@]}" zip ${certificate:+osslsigncode}

# sign FOLDER: signs the programs in it.
sign() {
    local program
    for program in "$1"/*.exe; do
        osslsigncode sign -certs "$certificate" -key "$key" -h sha256 -n Norvane \
            -in "$program" -out "$program.signed" >/dev/null ||
            script_fail "This could not be signed: ${program##*/}"
        mv "$program.signed" "$program"
    done
}

# pack FOLDER ZIP: packs the folder's files in a fixed order, each with the earliest time that a zip can
# store.
pack() {
    find "$1" -exec touch -d 1980-01-01T00:00:00Z {} +
    chmod -R u=rwX,go=rX "$1"
    (cd "${1%/*}" && find "${1##*/}" | LC_ALL=C sort | TZ=UTC0 zip -qX9 "$OLDPWD/$2" -@)
}

[ -z "$(git status --porcelain 2>/dev/null)" ] || echo "The package has changes that are not committed" >&2
build release
version=$(sed -n 's/^project(norvane64 VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=norvane64-$version
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install build/release --prefix "$stage/$name" >/dev/null
if [ -n "$certificate" ]; then
    sign "$stage/$name"
    sums=$(cd "$stage/$name" && sed 's/^[0-9a-f]*  //' SHA256SUMS | xargs -d '\n' sha256sum)
    echo "$sums" >"$stage/$name/SHA256SUMS"
fi
rm -f "dist/$name.zip" "dist/$name-symbols.zip"
mkdir -p dist "$stage/$name-symbols"
cp build/release/*.exe.debug "$stage/$name-symbols/"
pack "$stage/$name" "dist/$name.zip"
pack "$stage/$name-symbols" "dist/$name-symbols.zip"
(cd dist && sha256sum "$name.zip" "$name-symbols.zip")
