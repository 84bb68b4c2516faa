# Installs the Debian packages that are missing. To be sourced; does nothing on a machine that has them.

setup_packages() {
    local package missing=() as_root=()
    for package; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    if ((${#missing[@]} > 0)); then
        echo "Installing ${missing[*]}" >&2
        ((EUID == 0)) || as_root=(sudo)
        "${as_root[@]}" apt-get -qq update
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -y install "${missing[@]}" >/dev/null
    fi
}

setup_build() {
    setup_packages cmake ninja-build g++-mingw-w64-x86-64-posix wine wine64
}

# build PRESET: configures and builds; silent unless it fails.
build() {
    local log
    log=$(cmake --preset "$1" 2>&1 && cmake --build --preset "$1" 2>&1) || { echo "$log" >&2 && return 1; }
}
