#!/usr/bin/env bash
# Builds everything and runs all tests: optimised, then once more under AddressSanitizer and UBSan.
# KESTREL_TEST_QUICK=1 leaves the second round out.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

run_preset() {
    echo "test: building and testing the preset '$1' with $jobs jobs"
    cmake --preset "$1"
    cmake --build --preset "$1" --parallel "$jobs"
    ctest --preset "$1" --parallel "$jobs"
}

scripts/setup.sh
echo "test: comparing the sources with .clang-format (scripts/format.sh repairs them)"
scripts/format.sh --check
run_preset release
if [[ -z "${KESTREL_TEST_QUICK:-}" ]]; then
    run_preset asan
fi
echo "test: all tests passed."
