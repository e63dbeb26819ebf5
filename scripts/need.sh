# For other scripts to read: need PROGRAM [PACKAGE] installs a Debian package when its program is missing, and says so.
need() {
    local package=${2:-$1} run=()
    command -v "$1" >/dev/null && return
    [[ $EUID -eq 0 ]] || run=(sudo)
    echo "installing the Debian package $package"
    "${run[@]}" apt-get install -y --no-install-recommends "$package" >/dev/null
}

# Sets `kestrel` to the command that KESTREL names, else to the release preset's, which is built when it is missing.
need_kestrel() {
    kestrel=${KESTREL:-build/release/bin/kestrel}
    if [[ ! -x "$kestrel" ]]; then
        cmake --preset release
        cmake --build --preset release --parallel "$(nproc)" --target kestrel kestrel_pt
    fi
}
