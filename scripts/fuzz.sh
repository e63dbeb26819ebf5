#!/usr/bin/env bash
# Fuzzes one target, or all one after the other, for some seconds each, and tells what came of it.
#
#   scripts/fuzz.sh TARGET|all [SECONDS]     60 seconds where none are given; scripts/fuzz.sh alone lists the targets
#
# What has been found worth keeping stays in build/fuzz/corpus/TARGET, and the next run goes on from there. An input that
# ends the program lies in build/fuzz/finds; fuzz/README.md says what to do with it.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$PWD/build/fuzz

echo "fuzz: building" >&2
[[ -f $build/build.ninja ]] || cmake --preset fuzz >&2
cmake --build --preset fuzz --parallel "${JOBS:-$(nproc)}" >&2

mapfile -t all < <("$build/bin/fuzz_replay" --targets | awk '{print $1}')
if [[ $# -eq 0 ]]; then
    "$build/bin/fuzz_replay" --targets
    exit 0
fi
seconds=${2:-60}
targets=("$1")
[[ $1 == all ]] && targets=("${all[@]}")

scratch=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" kestrel-fuzzing-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch
export UBSAN_OPTIONS=print_stacktrace=1
mkdir -p "$build/finds"
"$build/bin/fuzz_replay" --dictionary "$build/words.dict"

# The number that follows a word in the last line of a log that has it.
last() { grep -oE "$1 [0-9]+" "$2" | tail -1 | grep -oE '[0-9]+$' || echo 0; }

status=0
rows=()
for target in "${targets[@]}"; do
    corpus=$build/corpus/$target
    log=$build/$target.log
    mkdir -p "$corpus"
    "$build/bin/fuzz_replay" "$target" --write-seeds "$scratch/seeds-$target"
    longest=$("$build/bin/fuzz_replay" --targets | awk -v name="$target" '$1 == name {print $2}')
    before=$(find "$build/finds" -type f | wc -l)
    echo "fuzz: $target for $seconds seconds (log: $log)" >&2
    KESTREL_FUZZ_TARGET=$target "$build/bin/fuzz_kestrel" "$corpus" "$scratch/seeds-$target" \
        -max_total_time="$seconds" -max_len="$longest" -dict="$build/words.dict" -timeout=25 -rss_limit_mb=3072 \
        -print_final_stats=1 -artifact_prefix="$build/finds/$target-" >"$log" 2>&1 || status=1
    finds=$(($(find "$build/finds" -type f | wc -l) - before))
    rows+=("$(printf '%-10s %12s %8s %8s %8s %6s' "$target" "$(last 'stat::number_of_executed_units:' "$log")" \
        "$(last 'cov:' "$log")" "$(last 'ft:' "$log")" "$(find "$corpus" -type f | wc -l)" "$finds")")
    [[ $finds -eq 0 ]] || { echo "fuzz: $target found something; the end of its log:" >&2; tail -n 40 "$log" >&2; }
done
printf '%-10s %12s %8s %8s %8s %6s\n' target executions edges features corpus finds
printf '%s\n' "${rows[@]}"
exit "$status"
