# For other scripts to read: need PROGRAM [PACKAGE] installs a Debian package when its program is missing, and says so.
need() {
    local package=${2:-$1} run=()
    command -v "$1" >/dev/null && return
    [[ $EUID -eq 0 ]] || run=(sudo)
    echo "installing the Debian package $package"
    "${run[@]}" apt-get install -y --no-install-recommends "$package" >/dev/null
}
