"""Measures the benchmarks in all languages, compares their pictures, and prints a table. Called by run.sh.

    bench/table.py PROGRAMS [ROUNDS]
"""

import json
import math
import pathlib
import statistics
import subprocess
import sys

FOLDER = pathlib.Path(__file__).parent
PATTERNS = ["checker", "marble", "brick", "mandelbrot", "value_noise", "cell_pattern"]
TRIVIAL = ["empty", "member"]  # what a call costs; not in Lua, and not in the mean
EXECUTORS = ["definition", "threaded", "native"]
LANES = {"batch of 4": 4, "batch of 8": 8}
REFERENCE = "C++ -O2"
IN_LIBRARY = "C++ -O2, shared library"
HOST_LUAJIT = "LuaJIT, called from C"
TOLERANCE = 1e-9  # of the numbers that describe a picture
ROUNDS = 9
SECONDS = 0.1  # about as long a candidate runs in a round
SAMPLES = 256 * 256


def output(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        sys.exit(f"bench: {' '.join(map(str, command))} ended with {done.returncode}\n{done.stderr}{done.stdout}")
    return done.stdout


class Kestrel:
    """`kestrel bench`: a sample goes through the module's callback."""

    def __init__(self, programs, executor):
        self.program, self.executor = programs / "kestrel", executor
        self.has = PATTERNS + TRIVIAL

    def measure(self, name, passes):
        """Nanoseconds per sample, and what tells whether they are right."""
        line = json.loads(output(self.program, "bench", FOLDER / f"{name}.ks", "--json", "--passes", passes,
                                 "--executor", self.executor))
        return line["nsPerSample"], line["checksum"]


class Batch:
    """`kestrel bench --batch`: samples by planes, 256 at a call, so many computed at a time."""

    def __init__(self, programs, lanes):
        self.program, self.lanes, self.has = programs / "kestrel", lanes, PATTERNS + TRIVIAL

    def line(self, name, passes):
        return json.loads(output(self.program, "bench", FOLDER / f"{name}.ks", "--json", "--passes", passes,
                                 "--batch", "--lanes", self.lanes))

    def works(self):
        return self.line("checker", 1)["grouped"] > 0

    def measure(self, name, passes):
        line = self.line(name, passes)
        return line["nsPerSample"], line["checksum"]


class Other:
    """A program that prints name, nanoseconds and picture."""

    def __init__(self, has, *command, folder=True):
        self.has, self.command, self.folder = has, command, [FOLDER] if folder else []

    def measure(self, name, passes):
        _, time, *picture = output(*self.command, passes, *self.folder, name).split()
        return float(time), [float(number) for number in picture]


def candidates(programs):
    columns = {f"Kestrel {executor}": Kestrel(programs, executor) for executor in EXECUTORS}
    batches = {f"Kestrel {name}": Batch(programs, lanes) for name, lanes in LANES.items()}
    return columns | {name: batch for name, batch in batches.items() if batch.works()} | {
        REFERENCE: Other(PATTERNS + TRIVIAL, programs / "kestrel-bench-o2", folder=False),
        IN_LIBRARY: Other(PATTERNS + TRIVIAL, programs / "kestrel-bench-o2-library", folder=False),
        "C++ -O3 -march=native": Other(PATTERNS + TRIVIAL, programs / "kestrel-bench-o3", folder=False),
        "Lua 5.4": Other(PATTERNS, "lua5.4", FOLDER / "harness.lua"),
        HOST_LUAJIT: Other(PATTERNS, programs / "kestrel-bench-luajit"),
        "LuaJIT, own loop": Other(PATTERNS, "luajit", FOLDER / "harness.lua"),
    }


def check(programs, columns):
    """Ends the program when two columns compute different pictures; returns how many passes each needs."""
    passes, wrong = {}, []
    for name in PATTERNS + TRIVIAL:
        facts = {}
        for column, candidate in columns.items():
            if name in candidate.has:
                time, facts[column] = candidate.measure(name, 3)
                passes[column, name] = min(max(3, round(SECONDS / (max(time, 1) * 1e-9 * SAMPLES))), 99)
        checksums = {facts.pop(column) for column in columns if column.startswith("Kestrel ")}
        if len(checksums) != 1:
            wrong.append(f"bench: {name}: the executors differ: {checksums}")
        if name in PATTERNS:
            word, *picture = output(programs / "kestrel", "run", FOLDER / f"{name}.ks").split()
            facts["Kestrel"] = [float(number) for number in picture] if word == "picture" else []
        for column, picture in facts.items():
            expected = facts[REFERENCE]
            if len(picture) != 4 or not all(abs(a - b) <= TOLERANCE for a, b in zip(picture, expected)):
                wrong.append(f"bench: {name}: {column} gives {picture}, {REFERENCE} {expected}")
    if wrong:
        sys.exit("\n".join(wrong))
    return passes


def measure(columns, passes, rounds):
    """(Column, name) -> median; each round measures every candidate once, so that all share good and bad times."""
    times = {key: [] for key in passes}
    for _ in range(rounds):
        for name in PATTERNS + TRIVIAL:
            for column, candidate in columns.items():
                if name in candidate.has:
                    times[column, name].append(candidate.measure(name, passes[column, name])[0])
    return {key: statistics.median(values) for key, values in times.items()}


def row(name, cells):
    print(f"| {name} | " + " | ".join(cells) + " |")


def print_table(columns, medians):
    row("ns per sample", columns)
    print("|---|" + "---:|" * len(columns))
    for name in PATTERNS + TRIVIAL:
        times = [medians.get((column, name)) for column in columns]
        row(name, ["" if time is None else f"{time:.0f}" if time >= 100 else f"{time:.1f}" for time in times])

    def mean(column, reference):
        return math.exp(statistics.fmean(math.log(medians[column, name] / medians[reference, name])
                                         for name in PATTERNS))
    row(f"geometric mean, {REFERENCE} = 1", [f"{mean(column, REFERENCE):.2f}" for column in columns])
    print()
    batches = [column for column in columns if column.startswith("Kestrel batch")]
    ratios = {f"{column} / {other}": (column, other)
              for column, other in [(batch, REFERENCE) for batch in batches] + [("Kestrel threaded", REFERENCE), ("Kestrel native", REFERENCE),
                                    ("Kestrel native", "C++ -O3 -march=native"), (HOST_LUAJIT, "Kestrel threaded"),
                                    (HOST_LUAJIT, "Kestrel native")]}
    row("ratio", ratios)
    print("|---|" + "---:|" * len(ratios))
    for name in PATTERNS:
        row(name, [f"{medians[a, name] / medians[b, name]:.2f}" for a, b in ratios.values()])
    row("geometric mean", [f"{mean(a, b):.2f}" for a, b in ratios.values()])


def main():
    programs = pathlib.Path(sys.argv[1]).resolve()
    columns = candidates(programs)
    passes = check(programs, columns)
    print_table(columns, measure(columns, passes, int(sys.argv[2]) if len(sys.argv) > 2 else ROUNDS))


if __name__ == "__main__":
    main()
