#!/usr/bin/env bash
# Formats all C and C++ sources as .clang-format says.
#   scripts/format.sh [--check]      --check: only says which files differ, with status 1
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(-i)
if [[ "${1:-}" == "--check" ]]; then
    mode=(--dry-run --Werror)
fi
git ls-files -z -- '*.c' '*.cpp' '*.h' | xargs -0 clang-format "${mode[@]}"
