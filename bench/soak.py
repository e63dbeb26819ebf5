"""Measures what lies beside the time of a sample, and prints tables. Called by run.sh; fails when memory grows.

- Steadiness: the slowest of 1,000 grids against the median, and that of the same function in C++.
- Loading: a script whose `process` is long, with its code made.
- Memory: 1,000 instances of one script, and ten million samples.
"""

import os
import pathlib
import statistics
import sys
import tempfile

from table import FOLDER, PATTERNS, REFERENCE, TRIVIAL, output

EXECUTORS = ["threaded", "native"]
ALL = ["definition", *EXECUTORS]
GRIDS = 1000
RUNS = 3
LINES = (1_000, 10_000, 50_000)
PASSES = 9
INSTANCES = 1000
SAMPLES = 10_000_000
MOST_GROWTH = 256 * 1024  # bytes; what the C library's heap does on its own


class Module:
    """Runs kestrel-bench-module on an executor."""

    def __init__(self, programs):
        self.program = programs / "kestrel-bench-module"
        self.library = programs / "kestrel-pt.so"

    def text(self, executor, *words):
        os.environ["KESTREL_EXECUTOR"] = executor
        return output(self.program, self.library, *words)

    def numbers(self, executor, *words):
        return [float(word) for word in self.text(executor, *words).split()]


def steadiness(run):
    """The slowest grid over the median. A grid counts as the fastest of several runs: what an engine does now and then it does at
    the same grid in each, and the machine's interrupts come at others."""
    grids = [min(times) for times in zip(*([float(time) for time in run().split()] for _ in range(RUNS)))]
    return max(grids) / statistics.median(grids)


def print_steadiness(programs, module):
    columns = {executor: lambda name, executor=executor: module.text(executor, "each", FOLDER / f"{name}.ks", GRIDS)
               for executor in ALL[1:]}
    columns[REFERENCE] = lambda name: output(programs / "kestrel-bench-o2", "each", GRIDS, name)
    print(f"| the slowest of {GRIDS} grids over the median | " + " | ".join(columns) + " |")
    print("|---|" + "---:|" * len(columns))
    for name in PATTERNS:
        print(f"| {name} | " + " | ".join(f"{steadiness(lambda: run(name)):.2f}" for run in columns.values()) + " |")


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

        def medians(executor):
            """Of each script: loaded, and with code, of the first instance of a process and of the second."""
            return [[statistics.median(times) for times in zip(*(module.numbers(executor, "load", script) for _ in range(PASSES)))]
                    for script in scripts]

        def print_row(what, times):
            print(f"| {what} | " + " | ".join(f"{time:.1f}" for time in times) + " |")

        for executor in ALL:
            times = medians(executor)
            for at, instance in (0, "the first of a process"), (2, "the second"):
                if executor == ALL[0]:
                    print_row(f"loaded: {instance}", [each[at] for each in times])
                print_row(f"loaded, and two samples shaded: {executor}, {instance}", [each[at + 1] for each in times])


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
    print_steadiness(programs, module)
    print()
    print_loading(module)
    print()
    if grown := print_memory(module):
        sys.exit("\n".join(grown))


if __name__ == "__main__":
    main()
