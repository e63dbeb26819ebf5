#!/usr/bin/env bash
# Renders the scripts of examples/ and the scene hero.json to docs/gallery/NAME.png with the optimised build, which it
# builds when it is missing. All of them take twenty minutes of one core.
#   scripts/gallery.sh [NAME ...]        (default: all)
# KESTREL names another command than the release preset's, SAMPLES another number of samples per pixel.
# pngquant (a Debian package, installed when it is missing) gives the small pictures 256 colors, where nobody sees it: a
# third of their size. The large one keeps all of its colors.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/need.sh
need_kestrel
need pngquant

# What suits a material better than a ball in a bright studio.
look() {
    case "$1" in
        lava) echo --exposure -1.8 ;;                   # what glows is seen best when lamps are dim
        planet) echo --shape sphere --exposure -0.3 ;;
        soap_bubble) echo --shape sphere ;;
    esac
}

names=("$@")
if [[ ${#names[@]} -eq 0 ]]; then
    for script in examples/*.ks; do
        names+=("$(basename "$script" .ks)")
    done
    names+=(hero)
fi

mkdir -p docs/gallery
for name in "${names[@]}"; do
    picture=docs/gallery/$name.png
    echo "gallery: $name"
    if [[ "$name" == hero ]]; then
        "$kestrel" render examples/scenes/hero.json -o "$picture" --exposure -0.8 ${SAMPLES:+--samples "$SAMPLES"}
        continue
    fi
    read -r -a options <<<"$(look "$name")" || true
    "$kestrel" render "examples/$name.ks" -o "$picture" --size 512x512 --samples "${SAMPLES:-48}" "${options[@]}"
    # Status 98 and 99: not worth it, or not good enough. The picture stays as it is then.
    pngquant --quality 85-100 --speed 1 --skip-if-larger --ext .png --force "$picture" || [[ $? -ge 98 ]]
done
