# Installs missing Debian packages, and builds. To be sourced.

# setup_packages PACKAGES...: installs those that are missing, as root or with sudo. A script names all that
# it needs at once, so that a user without either sees the complete list.
setup_packages() {
    local package missing=() as_root=()
    for package; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    ((${#missing[@]} > 0)) || return 0
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            script_fail "Packages are missing. As root: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    echo "Installing packages: ${missing[*]} ..." >&2
    setup_run "${as_root[@]}" apt-get -qq update
    setup_run "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq -y install "${missing[@]}" >/dev/null
}

setup_run() {
    "$@" </dev/null || script_fail "This failed: $*"
}

# What every build needs.
setup_compiler=(cmake ninja-build g++-mingw-w64-x86-64-win32 g++-mingw-w64-x86-64-posix)

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
