"""Measures what lies beside the time of a sample, and prints tables. Called by run.sh; fails when memory grows.

- Steadiness: the slowest of 1,000 grids against the median.
- Loading: a script whose `process` is long, with its code made.
- Memory: 1,000 instances of one script, and ten million samples.
"""

import json
import os
import pathlib
import statistics
import sys
import tempfile

from table import FOLDER, PATTERNS, TRIVIAL, output

EXECUTORS = ["threaded", "native"]
ALL = ["definition", *EXECUTORS]
GRIDS = 1000
GRID = {"threaded": "128x128", "native": "512x512"}  # of a millisecond or so: an interrupt takes a tenth of it
LINES = (1_000, 10_000, 50_000)
PASSES = 5
INSTANCES = 1000
SAMPLES = 10_000_000
MOST_GROWTH = 256 * 1024  # bytes; what the C library's heap does on its own


class Module:
    """Runs kestrel-bench-module on an executor."""

    def __init__(self, programs):
        self.program = programs / "kestrel-bench-module"
        self.library = programs / "kestrel-pt.so"

    def numbers(self, executor, *words):
        os.environ["KESTREL_EXECUTOR"] = executor
        return [float(word) for word in output(self.program, self.library, *words).split()]


def print_steadiness(kestrel):
    print(f"| the slowest of {GRIDS} grids over the median | " + " | ".join(f"{each}, {GRID[each]}" for each in EXECUTORS) + " |")
    print("|---|" + "---:|" * len(EXECUTORS))
    for name in PATTERNS:
        cells = []
        for executor in EXECUTORS:
            line = json.loads(output(kestrel, "bench", FOLDER / f"{name}.ks", "--json", "--grid", GRID[executor], "--passes", GRIDS,
                                     "--executor", executor))
            cells.append(f"{line['slowestNsPerSample'] / line['nsPerSample']:.2f}")
        print(f"| {name} | " + " | ".join(cells) + " |")


def long_process(lines):
    """Each line reads what others have written, so that none can be left out."""
    body = [f"    x{i % 40} = x{(i + 7) % 40} * 0.5 + sa.oPos[{i % 3 + 1}] * {i % 97};" for i in range(lines)]
    start = [f"x{i} = 0.0;" for i in range(40)]
    return "\n".join(start + ["process: sa", "{", *body, "    sa.color[1] = x0;", "}"]) + "\n"


def print_loading(module):
    print("| ms of a `process` of so many lines | " + " | ".join(f"{lines:,}" for lines in LINES) + " |")
    print("|---|" + "---:|" * len(LINES))
    with tempfile.TemporaryDirectory() as folder:
        scripts = []
        for lines in LINES:
            scripts.append(pathlib.Path(folder) / f"long{lines}.ks")
            scripts[-1].write_text(long_process(lines), encoding="ascii")

        def medians(executor, which):
            return [statistics.median(module.numbers(executor, "load", script)[which] for _ in range(PASSES))
                    for script in scripts]

        rows = {"loaded": medians("native", 0)}
        rows |= {f"loaded, and two samples shaded: {executor}": medians(executor, 1)
                 for executor in ALL}
        for name, times in rows.items():
            print(f"| {name} | " + " | ".join(f"{time:.1f}" for time in times) + " |")


def print_memory(module):
    """Returns what has grown."""
    columns = [f"KiB an instance, {executor}" for executor in ALL]
    columns += [f"MiB before and after {SAMPLES:,} samples, {executor}" for executor in EXECUTORS]
    print("| memory | " + " | ".join(columns) + " |")
    print("|---|" + "---:|" * len(columns))
    grown = []
    for name in PATTERNS + TRIVIAL:
        script = FOLDER / f"{name}.ks"
        cells = [f"{module.numbers(executor, 'instances', script, INSTANCES)[0] / 1024:.0f}" for executor in ALL]
        for executor in EXECUTORS:
            before, after = module.numbers(executor, "soak", script, SAMPLES)
            cells.append(f"{before / 2**20:.2f}, {after / 2**20:.2f}")
            if after - before > MOST_GROWTH:
                grown.append(f"bench: {name}: {executor}: memory grew by {after - before:.0f} bytes")
        print(f"| {name} | " + " | ".join(cells) + " |")
    return grown


def main():
    programs = pathlib.Path(sys.argv[1]).resolve()
    module = Module(programs)
    print_steadiness(programs / "kestrel")
    print()
    print_loading(module)
    print()
    if grown := print_memory(module):
        sys.exit("\n".join(grown))


if __name__ == "__main__":
    main()
