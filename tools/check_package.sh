#!/usr/bin/env bash
# Checks the package. Two folders and time zones give the same bytes. Every file has its sum. A package that
# is signed with a throwaway certificate is verified, and a changed byte is refused. Takes no arguments.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_arguments 0 "$@"
setup_packages git zip unzip openssl osslsigncode
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

check() {
    script_check "package: $1" "${@:2}"
}

# The files that git knows, as they are here, in two folders. A release in dist is not touched.
mkdir "$work/one" "$work/other"
git ls-files -z | xargs -0 cp --parents -t "$work/one"
cp -r "$work/one/." "$work/other"
(cd "$work/one" && tools/package.sh)
(cd "$work/other" && TZ=Asia/Tokyo CXXFLAGS=-Werror tools/package.sh)
for zip in "$work"/one/dist/*.zip; do
    check "same bytes of ${zip##*/} in another folder" cmp -s "$zip" "$work/other/dist/${zip##*/}"
done

unzip -q "$work"/one/dist/norvane64-*[0-9].zip -d "$work"
package=$(echo "$work"/norvane64-*)
(cd "$package" && sha256sum --quiet -c SHA256SUMS) || script_fail "The sums are not those of the package."
files=$(cd "$package" && find . -type f ! -name SHA256SUMS -printf '%P\n' | sort)
check "each file has its sum" test "$files" = "$(sed 's/^[0-9a-f]*  //' "$package/SHA256SUMS" | sort)"
for file in norvane64.exe norvane64-rehearse.exe README.md CHANGELOG.md docs/trace.md docs/kept-behaviour.md \
    licences/GPL-3.txt licences/LGPL-2.1.txt; do
    check "$file" test -s "$package/$file"
done
mkdir "$work/installed"
echo "a file of another program" >"$work/installed/other.txt"
cmake --install "$work/one/build/release" --prefix "$work/installed" >/dev/null
rm "$work/installed/other.txt"
check "cmake --install gives the same files" diff -r "$package" "$work/installed"

openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=throwaway -addext extendedKeyUsage=codeSigning \
    -keyout "$work/key.pem" -out "$work/certificate.pem" 2>"$work/openssl.log" ||
    script_fail "The throwaway certificate could not be made: $(tail -n 1 "$work/openssl.log")"
(cd "$work" && other/tools/package.sh --sign certificate.pem key.pem >/dev/null)
unzip -q "$work"/other/dist/norvane64-*[0-9].zip -d "$work/signed"
(cd "$work"/signed/norvane64-* && sha256sum --quiet -c SHA256SUMS) ||
    script_fail "The sums are not those of the signed package."

verify() {
    osslsigncode verify -CAfile "$work/certificate.pem" -in "$1" >/dev/null 2>&1
}
for program in "$work"/signed/norvane64-*/*.exe; do
    check "signature of ${program##*/}" verify "$program"
    osslsigncode remove-signature -in "$program" -out "$work/plain-${program##*/}" >/dev/null
    check "without its signature it is the unsigned one" cmp -s "$work/plain-${program##*/}" \
        "$package/${program##*/}"
    # One letter of a text in the program.
    sed 's/This program cannot/This program cannoT/' "$program" >"$work/changed.exe"
    check "a byte can be changed" not cmp -s "$program" "$work/changed.exe"
    check "a changed byte is refused" not verify "$work/changed.exe"
done
((failed == 0)) || script_fail "The package is not as it should be."
