#!/usr/bin/env bash
# Builds everything and runs all tests: optimised, then once more under AddressSanitizer and UBSan. In between clang
# builds everything too, for its warnings. KESTREL_TEST_QUICK=1 stops after the first round.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

build_preset() {
    echo "test: building the preset '$1' with $jobs jobs"
    cmake --preset "$@"
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
    # Sees faults that gcc does not warn of; its program is the same, so no test runs again.
    build_preset clang -DKESTREL_TESTS=OFF
    run_preset asan
fi
echo "test: all tests passed."
