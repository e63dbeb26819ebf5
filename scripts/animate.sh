#!/usr/bin/env bash
# Renders examples/lava.ks in motion to docs/gallery/lava_animated.png, a PNG that moves and begins again without a jump.
#   scripts/animate.sh [FRAMES]        (default: 24)
# KESTREL names another command than the release preset's. apngasm and pngquant (Debian packages, installed when they are
# missing) put the frames together and give them 256 colors each.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/need.sh
need_kestrel
need apngasm
need pngquant

# The script repeats after 4 seconds, which are 120 frames of rendering.
count=${1:-24}
step=$((120 / count))
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$kestrel" render examples/lava.ks -o "$folder/all.%04d.png" --frames "0-$((step * count - 1)):$step" \
    --size 256x256 --samples "${SAMPLES:-16}" --exposure -1.8
number=1000
for frame in "$folder"/all.*.png; do
    pngquant --speed 1 --output "$folder/frame$((number++)).png" "$frame"
done
apngasm docs/gallery/lava_animated.png "$folder/frame1000.png" "$step" 30 >/dev/null
