#!/usr/bin/env bash
# Renders every script of examples/ to docs/gallery/NAME.png with the optimised build, which it builds when it is missing.
#   scripts/gallery.sh [NAME ...]        (default: all)
# KESTREL names another command than the release preset's.
set -euo pipefail
cd "$(dirname "$0")/.."

kestrel=${KESTREL:-build/release/bin/kestrel}
if [[ ! -x "$kestrel" ]]; then
    cmake --preset release
    cmake --build --preset release --parallel "$(nproc)" --target kestrel kestrel_pt
fi

names=("$@")
if [[ ${#names[@]} -eq 0 ]]; then
    for script in examples/*.ks; do
        names+=("$(basename "$script" .ks)")
    done
fi

mkdir -p docs/gallery
for name in "${names[@]}"; do
    echo "gallery: $name"
    "$kestrel" render "examples/$name.ks" -o "docs/gallery/$name.png" --size 256x256 --samples 16
done
