#!/usr/bin/env bash
# Makes the package, here and once more in another folder and time zone, with warnings as errors: the same bytes. Unpacks it and
# looks at what is in it; signs one with a throwaway certificate, verifies it, and sees a changed byte refused. Takes no words.
. "$(dirname "$0")/script.sh"
. tools/setup.sh
script_words 0 "$@"
setup_packages git zip unzip openssl osslsigncode
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

check() {
    script_check "package: $1" "${@:2}"
}

# What git knows, as it is here, in two folders; a release that lies in dist is left alone.
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
check "each file has its sum" test "$(find "$package" -type f | wc -l)" = $(($(wc -l <"$package/SHA256SUMS") + 1))
for file in norvane64.exe norvane64-rehearse.exe README.md CHANGELOG.md docs/trace.md docs/kept-behaviour.md licences/GPL-3.txt \
    licences/LGPL-2.1.txt; do
    check "$file" test -s "$package/$file"
done
mkdir "$work/installed"
echo "somebody else's" >"$work/installed/other.txt"
cmake --install "$work/one/build/release" --prefix "$work/installed" >/dev/null
rm "$work/installed/other.txt"
check "cmake --install gives the same files" diff -r "$package" "$work/installed"

openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=throwaway -addext extendedKeyUsage=codeSigning \
    -keyout "$work/key.pem" -out "$work/certificate.pem" 2>"$work/openssl.log" ||
    script_fail "No throwaway certificate could be made: $(tail -n 1 "$work/openssl.log")"
(cd "$work" && other/tools/package.sh --sign certificate.pem key.pem >/dev/null)
unzip -q "$work"/other/dist/norvane64-*[0-9].zip -d "$work/signed"
(cd "$work"/signed/norvane64-* && sha256sum --quiet -c SHA256SUMS) || script_fail "The sums are not those of the signed package."

verify() {
    osslsigncode verify -CAfile "$work/certificate.pem" -in "$1" >/dev/null 2>&1
}
for program in "$work"/signed/norvane64-*/*.exe; do
    check "signature of ${program##*/}" verify "$program"
    osslsigncode remove-signature -in "$program" -out "$work/plain-${program##*/}" >/dev/null
    check "without its signature it is the unsigned one" cmp -s "$work/plain-${program##*/}" "$package/${program##*/}"
    # One letter of a text that the program has.
    sed 's/This program cannot/This program cannoT/' "$program" >"$work/changed.exe"
    check "a byte can be changed" not cmp -s "$program" "$work/changed.exe"
    check "a changed byte is refused" not verify "$work/changed.exe"
done
((failed == 0)) || script_fail "The package is not as it should be."
