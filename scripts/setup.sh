#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the preview need, and says what it does.
# With --bench also the other languages that the benchmarks compare with.
set -euo pipefail

packages=(
    g++ cmake ninja-build bison flex           # compiler, build, generated scanner and parser
    clang libclang-rt-dev                      # a second compiler: its warnings, sanitizers and fuzzer
    libasmjit-dev                              # machine code for shaders
    libsqlite3-dev                             # the module's per-user store
    libembree-dev libpng-dev                   # preview: ray casting, pictures
    libopenexr-dev python3-imath               # pictures in OpenEXR; the latter completes the former's CMake files
    libcli11-dev nlohmann-json3-dev            # the command: options, JSON
    libedit-dev                                # kestrel debug: editing a line, history
    libgtest-dev python3 python3-jsonschema    # tests
    dpkg-dev                                   # cpack: what a Debian package needs
    git clang-format                           # the check that sources are formatted
)
if [[ "${1:-}" == "--bench" ]]; then
    packages+=(lua5.4 luajit libluajit-5.1-dev pkgconf)
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed; then
        missing+=("$package")
    fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
    echo "setup: all needed packages are installed."
    exit 0
fi
echo "setup: these packages are missing: ${missing[*]}"

as_root=()
if [[ $EUID -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "setup: install them as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "setup: installing them with apt-get${as_root:+ (through sudo)} ..."
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
echo "setup: done."
