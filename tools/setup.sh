# Installs the Debian packages that are missing, and builds. To be sourced; does nothing on a machine that has them.

# setup_packages PACKAGES...: as root, or with sudo where there is one; says what it runs. A script names all that it needs at
# once, so that whoever has to install by hand is told once.
setup_packages() {
    local package missing=() as_root=()
    for package; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    ((${#missing[@]} > 0)) || return 0
    if ((EUID != 0)); then
        command -v sudo >/dev/null || script_fail "Packages are missing; as root: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    setup_run "${as_root[@]}" apt-get -qq update
    setup_run "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -y install "${missing[@]}" >/dev/null
}

setup_run() {
    echo "+ $*" >&2
    "$@" </dev/null || script_fail "This failed: $*"
}

# What every build needs.
setup_compiler=(cmake ninja-build g++-mingw-w64-x86-64-win32 g++-mingw-w64-x86-64-posix)

# build PRESET: configures and builds; silent unless it fails.
build() {
    local log
    log=$(cmake --preset "$1" 2>&1 && cmake --build --preset "$1" 2>&1) || {
        echo "$log" >&2
        script_fail "The build of preset $1 failed."
    }
}
