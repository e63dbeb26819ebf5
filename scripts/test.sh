#!/usr/bin/env bash
# Builds everything and runs all tests: optimised, then once more under AddressSanitizer and UBSan. In between clang looks
# at all sources, for its warnings. KESTREL_TEST_QUICK=1 stops after the first round.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

build_preset() {
    echo "test: building the preset '$1' with $jobs jobs"
    cmake --preset "$1"
    cmake --build --preset "$1" --parallel "$jobs"
}

run_preset() {
    build_preset "$1"
    echo "test: testing the preset '$1'"
    ctest --preset "$1" --parallel "$jobs"
}

scripts/setup.sh
echo "test: comparing the sources with .clang-format (scripts/format.sh repairs them)"
scripts/format.sh --check
run_preset release
if [[ -z "${KESTREL_TEST_QUICK:-}" ]]; then
    # Sees faults that gcc does not warn of; its program would be the same, so none is made.
    echo "test: looking at all sources with clang"
    cmake --preset clang -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
    scripts/clang_warnings.py --jobs "$jobs" build/clang
    run_preset asan
fi
echo "test: all tests passed."
