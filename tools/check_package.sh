#!/usr/bin/env bash
# Checks the package. Two folders and time zones give the same bytes. The version is that of the tag, or names
# the commit. Every file has its sum, and links inside the package work. check.cmd has CR LF and its tab. It
# passes in Wine's cmd on the catalogs of the sample machine, fails after an entry was added that the program
# cannot read, prints the output that it judged, and names what is missing in the package. Packages
# that are no commit are refused. Signatures and time stamps of throwaway certificates are verified, and a
# changed byte is refused.
#
# tools/check_package.sh [FOLDER]
#   FOLDER  an unpacked package: only its check.cmd is run
. "$(dirname "$0")/script.sh"
. tools/setup.sh
. tools/pages.sh
. sandbox/sandbox.sh
script_arguments 1 "$@"

# run_check EXPECTED...: runs check.cmd, and checks that its output has each of the lines, which are extended
# regular expressions.
run_check() {
    local output line code=0
    output=$(sandbox_wine cmd /c 'C:\package\check.cmd' | tr -d '\r') || code=$?
    printf '%s\n' "$output"
    for line; do
        grep -qxE "$line" <<<"$output" || script_fail "check.cmd did not print: $line"
    done
    return "$code"
}

if sandbox_inside; then
    catalog='HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters\Protocol_Catalog9\Catalog_Entries64'
    sandbox_make build/release
    cp -r "$SANDBOX/package" "$drive/package"
    sandbox_check sandbox/sample_winsock.txt export sample_winsock.txt sample.reg >/dev/null
    sandbox_wine reg import 'C:\sandbox\sample.reg' >/dev/null 2>&1 || script_fail "The catalogs were refused"
    # With the files that the catalogs name, those of 32-bit programs, too.
    sandbox_check sandbox/sample_winsock.txt make-dlls sample_winsock.txt >/dev/null
    mkdir -p "$drive/windows/syswow64"
    cp "$drive"/windows/system32/{mswsock,examplelsp,filterlsp,guardlsp}.dll "$drive/windows/syswow64/"
    run_check "PASS    list, all entries work: exit code 0" \
        "PASS    export: the same result as this machine, [A-Z ]+, 0, 0, 0, 0, 0" \
        "PASS    64-bit catalog: 9 entries, as reg query prints" \
        "PASS    32-bit catalog: 9 entries, as reg query prints" \
        "PASS    lsp with a name that no LSP has: exit code 2" "PASS    an unknown option: exit code 1" \
        "PASS    trace: a name with a character above U[+]00FF is UTF-8" \
        "(PASS|SKIPPED) +sums: .*" "[0-9]+ PASS, 0 FAIL, [01] SKIPPED" ||
        script_fail "check.cmd failed on a sound machine"
    sandbox_set "$catalog\\000000000010" /v PackedCatalogItem /d none
    rm "$drive/package/CHANGELOG.md"
    ! run_check "FAIL    64-bit catalog: 9 entries, reg query prints 10" '.*\\Catalog_Entries64\\0*10' \
        "FAIL    sums: not as in SHA256SUMS: CHANGELOG.md \(missing\)" ||
        script_fail "check.cmd did not fail on a wrong count and a missing file"
    rm "$drive/package/norvane64-rehearse.exe"
    ! run_check "Unpack the whole package first: .*" ||
        script_fail "check.cmd did not fail without the program"
    echo "check.cmd: passes on a sound machine; fails on a wrong count, and on a package that is not complete"
    exit
fi
if (($# == 1)); then
    folder=$(cd "$script_caller" && realpath "$1")
    [ -e "$folder/check.cmd" ] || script_fail "This folder has no check.cmd: $1"
    script_lock
    setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}"
    build release
    sandbox_open check
    cp -r "$folder" "$sandbox/package"
    sandbox_enter "$script"
    exit
fi
setup_packages "${setup_compiler[@]}" "${sandbox_needs[@]}" git zip unzip openssl osslsigncode socat
work=$(mktemp -d)
authority=
trap 'kill $authority 2>/dev/null || true; rm -rf "$work"' EXIT
failed=0

check() {
    script_check "package: $1" "${@:2}"
}

# package COPY OPTIONS...: makes a package in one of the copies of this checkout.
package() {
    (cd "$work/$1" && tools/package.sh "${@:2}" >"$work/log" 2>&1)
}

# must_package COPY OPTIONS...: the same, and ends the script when that fails.
must_package() {
    echo "Making a package: $* ..." >&2
    package "$@" || script_fail "$(cat "$work/log")
The package could not be made."
}

# refused REASON COPY OPTIONS...: whether making a package fails for that reason.
refused() {
    ! package "${@:2}" && grep -q -- "$1" "$work/log"
}

# reports VERSION: whether both programs of the first copy have that version in their resources, and the
# rehearsal in its texts.
reports() {
    local version=${1//+/[+]} program
    for program in "$work"/one/build/release/*.exe; do
        tr -d '\0' <"$program" | LC_ALL=C grep -aE "FileVersion.{0,2}$version([^-]|$)" >/dev/null || return
    done
    program=$work/one/build/release/norvane64-rehearse.exe
    LC_ALL=C grep -aE "norvane64-rehearse $version$" "$program" >/dev/null
}

# The files that git knows, as they are here, as a commit of their own. A release in dist is not touched.
version=$(sed -n 's/^project(norvane64 VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
mkdir "$work/one"
git ls-files -z | xargs -0 cp --parents -t "$work/one"
git -C "$work/one" init -q
git -C "$work/one" add -A
git -C "$work/one" -c user.name=check -c user.email=check@localhost commit -qm "This checkout"
untagged=$version-dev+$(git -C "$work/one" rev-parse HEAD | cut -c 1-12)
must_package one
check "version without a tag" reports "$untagged"
check "name without a tag" test -s "$work/one/dist/norvane64-$untagged.zip"

git -C "$work/one" tag "v$version"
git clone -q "$work/one" "$work/other"
must_package one
check "version at the tag" reports "$version"
export TZ=Asia/Tokyo CXXFLAGS=-Werror
must_package other
for zip in "norvane64-$version.zip" "norvane64-$version-symbols.zip"; do
    check "same bytes of $zip in another folder" cmp -s "$work/one/dist/$zip" "$work/other/dist/$zip"
done

unzip -q "$work/one/dist/norvane64-$version.zip" -d "$work"
package=$work/norvane64-$version
check "check.cmd in Wine" "$script" "$package"
(cd "$package" && sha256sum --quiet -c SHA256SUMS) || script_fail "The sums are not those of the package."
files=$(cd "$package" && find . -type f ! -name SHA256SUMS -printf '%P\n' | sort)
check "each file has its sum" test "$files" = "$(sed 's/^[0-9a-f]*  //' "$package/SHA256SUMS" | sort)"
for file in norvane64.exe norvane64-rehearse.exe check.cmd README.md CHANGELOG.md CONTRIBUTING.md \
    SECURITY.md docs/trace.md docs/kept-behaviour.md \
    licences/README.md licences/GPL-3.txt licences/LGPL-2.1.txt; do
    check "$file" test -s "$package/$file"
done
check "check.cmd has CR LF in each line" not grep -qv $'\r$' "$package/check.cmd"
check "check.cmd splits the columns at a tab" grep -q $'tokens=2-8 delims=\t"' "$package/check.cmd"
for page in "$package"/*.md "$package"/*/*.md; do
    broken=$(broken_links "$page")
    check "links of ${page#"$package/"} $broken" test -z "$broken"
done
mkdir "$work/installed"
echo "a file of another program" >"$work/installed/other.txt"
cmake --install "$work/one/build/release" --prefix "$work/installed" >/dev/null
rm "$work/installed/other.txt"
check "cmake --install gives the same files" diff -r "$package" "$work/installed"

echo >>"$work/other/README.md"
check "changes that are not committed are refused" refused "Changes that are not committed" other
git -C "$work/other" checkout -q README.md
mv "$work/other/.git" "$work/git"
check "a folder without git is refused" refused "no checkout of git" other
must_package other --allow-dirty
check "--allow-dirty marks the name" test -s "$work/other/dist/norvane64-$version-dirty.zip"
echo "gitdir: nowhere" >"$work/other/.git"
check "a folder that git cannot read is refused" refused "git does not know" other
rm "$work/other/.git"
mv "$work/git" "$work/other/.git"

# certificate FOLDER USAGE: makes a throwaway certificate and its key. Its name is that of the folder.
certificate() {
    mkdir "$work/$1"
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=throwaway $1" \
        -addext "extendedKeyUsage=critical,$2" \
        -keyout "$work/$1/key.pem" -out "$work/$1/certificate.pem" 2>"$work/log" ||
        script_fail "The throwaway certificate could not be made: $(tail -n 1 "$work/log")"
}
certificate signer codeSigning
certificate authority timeStamping
sign=(--sign "$work/signer/certificate.pem" "$work/signer/key.pem")

# Starts the authority for time stamps on a free port, and waits until it listens.
socat -d -d TCP-LISTEN:0,bind=127.0.0.1,fork "EXEC:tools/timestamp_authority.sh $work/authority" \
    2>"$work/socat.log" &
authority=$!
port=
for ((tries = 50; tries > 0; --tries)); do
    port=$(sed -n 's/.* listening on AF=2 127.0.0.1:\([0-9]*\).*/\1/p' "$work/socat.log")
    [ -z "$port" ] || break
    sleep 0.1
done
export no_proxy=127.0.0.1

signed=$work/other/dist/norvane64-$version-signed.zip
echo "an older one" >"$signed"
check "a signing that fails is reported" refused "could not be signed" \
    other "${sign[@]}" --timestamp http://127.0.0.1:1
check "a signing that fails leaves no package" test ! -e "$signed"

# verify PROGRAM [AUTHORITY]: whether its signature is sound. The log reports the time stamp.
verify() {
    osslsigncode verify -CAfile "$work/signer/certificate.pem" \
        -TSA-CAfile "$work/${2:-authority}/certificate.pem" -in "$1" >"$work/log" 2>&1
}

# stamped AUTHORITY: whether the signed program has a time stamp of that authority.
stamped() {
    verify "$work/signed/norvane64-$version/norvane64.exe" "$1" && grep -q '^Timestamp .*: ok' "$work/log"
}

# check_signed WHAT: unpacks the signed package and checks its signatures.
check_signed() {
    local program name
    rm -rf "$work/signed"
    unzip -q "$signed" -d "$work/signed"
    (cd "$work/signed/norvane64-$version" && sha256sum --quiet -c SHA256SUMS) ||
        script_fail "The sums are not those of the signed package."
    for program in "$work/signed/norvane64-$version"/*.exe; do
        name=${program##*/}
        check "$1 of $name" verify "$program"
        rm -f "$work/plain-$name"
        osslsigncode remove-signature -in "$program" -out "$work/plain-$name" >/dev/null
        check "without its signature it is the unsigned one" cmp -s "$work/plain-$name" "$package/$name"
        # One letter of a text in the program.
        sed 's/This program cannot/This program cannoT/' "$program" >"$work/changed.exe"
        check "a byte can be changed" not cmp -s "$program" "$work/changed.exe"
        check "a changed byte is refused" not verify "$work/changed.exe"
    done
}
must_package other "${sign[@]}"
check_signed "signature"
check "no time stamp" not stamped authority
must_package other "${sign[@]}" --timestamp "http://127.0.0.1:$port"
check_signed "signature with time stamp"
check "time stamp" stamped authority
check "a time stamp of another authority is refused" not stamped signer
zip=dist/norvane64-$version.zip
check "the unsigned package remains" cmp -s "$work/one/$zip" "$work/other/$zip"
((failed == 0)) || script_fail "The package is not as it should be."
