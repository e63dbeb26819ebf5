#!/usr/bin/env bash
# Builds the module and the command, then renders an example.
#   scripts/render-example.sh [SCRIPT [PICTURE]]     (default: examples/marble.ks, marble.png)
set -euo pipefail
cd "$(dirname "$0")/.."

script=${1:-examples/marble.ks}
picture=${2:-marble.png}

scripts/setup.sh
echo "render: building"
cmake --preset release
cmake --build --preset release --parallel "$(nproc)" --target kestrel kestrel_pt
echo "render: $script -> $picture"
build/release/bin/kestrel render "$script" -o "$picture" --size 512x512 --samples 16
echo "render: done, see $picture"
