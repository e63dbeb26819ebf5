#!/usr/bin/env bash
# Runs the benchmark scripts, and the same functions in C++, Lua 5.4 and LuaJIT, and prints tables in Markdown.
# Fails when their pictures differ.
#   bench/run.sh [ROUNDS]   needs what scripts/setup.sh --bench installs; more rounds where the machine is busy
# BUILD names the build folder (default build/bench, made when missing).
set -euo pipefail
cd "$(dirname "$0")/.."

for tool in lua5.4 luajit python3; do
    if ! command -v "$tool" >/dev/null; then
        echo "bench: $tool is missing; install it with: scripts/setup.sh --bench" >&2
        exit 1
    fi
done

build=${BUILD:-build/bench}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTREL_BENCH=ON -DKESTREL_TESTS=OFF >/dev/null
cmake --build "$build" --target kestrel kestrel_pt kestrel_bench >&2
python3 bench/table.py "$build/bin" "${1:-9}"
echo
python3 bench/soak.py "$build/bin"
echo
python3 bench/builtins.py "$build/bin"
echo
python3 bench/queues.py "$build/bin"
echo
python3 bench/compile.py "$build/bin"
