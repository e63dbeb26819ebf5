#!/usr/bin/env bash
# Builds everything and runs all tests: optimised by g++, then once more by clang, under AddressSanitizer and UBSan. So two
# compilers warn. KESTREL_TEST_QUICK=1 stops after the first round; KESTREL_TEST_THREADS=1 adds one of what runs in threads, under
# ThreadSanitizer.
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
    run_preset asan
fi
if [[ -n "${KESTREL_TEST_THREADS:-}" ]]; then
    run_preset thread
fi
echo "test: all tests passed."
