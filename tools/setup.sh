#!/usr/bin/env bash
# Installs the Debian packages that the scripts need. The scripts also source this file for their packages and
# builds.
#
# tools/setup.sh --install
#   --install  installs every package that a script needs and that is missing, as root or with sudo
[[ ${BASH_SOURCE[0]} != "$0" ]] || . "$(dirname "$0")/script.sh"

# What every build needs, and what all scripts together need.
setup_compiler=(cmake ninja-build g++-mingw-w64-x86-64-win32 g++-mingw-w64-x86-64-posix)
setup_all=("${setup_compiler[@]}" wine wine64 bubblewrap googletest git zip unzip openssl osslsigncode socat
    clang-format clang-tidy shellcheck gcovr hyperfine debootstrap)

# setup_missing PACKAGES...: prints those that are not installed, a line each.
setup_missing() {
    local package
    for package; do
        has " ${setup_all[*]} " " $package " || script_fail "setup_all in tools/setup.sh lacks $package"
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
    done
}

# setup_packages PACKAGES...: ends the script when packages are missing, and says how to install them. A
# script names all that it needs at once, so that the list is complete.
setup_packages() {
    local missing
    missing=$(setup_missing "$@")
    [ -z "$missing" ] ||
        script_fail "Packages are missing: ${missing//$'\n'/ }. To install them: tools/setup.sh --install"
}

# setup_install PACKAGES...: installs those that are missing, as root or with sudo.
setup_install() {
    local missing as_root=()
    missing=$(setup_missing "$@")
    [ -n "$missing" ] || return 0
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            script_fail "Packages are missing. As root: apt-get install ${missing//$'\n'/ }"
        as_root=(sudo)
    fi
    echo "Installing missing packages with apt-get: ${missing//$'\n'/ } ..." >&2
    mapfile -t missing <<<"$missing"
    setup_run "${as_root[@]}" apt-get -qq update
    setup_run "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq -y install "${missing[@]}" >/dev/null
}

setup_run() {
    "$@" </dev/null || script_fail "This failed: $*"
}

# build PRESET: configures and builds. What the tools print is shown only when they fail.
build() {
    local log cache=build/$1/CMakeCache.txt
    echo "Building $1 ..." >&2
    # A folder that was copied or moved is configured afresh: its cache has the old path.
    [ ! -e "$cache" ] || grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache" || rm -rf "build/$1"
    log=$(cmake --preset "$1" 2>&1 && cmake --build --preset "$1" 2>&1) || {
        echo "$log" >&2
        script_fail "The build of preset $1 failed."
    }
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
    install=
    [[ ${1:-} != --install ]] || { install=1 && shift; }
    script_arguments 0 "$@"
    [ -n "$install" ] || script_refuse "--install is missing"
    setup_install "${setup_all[@]}"
    echo "All packages are installed"
fi
