#!/usr/bin/env python3
"""Evaluates the noise of the examples' library at many points and checks what pictures rely on: ranges, no jumps between
cells, also left of zero, and that every spot of the cells is found from all sides."""

import math
import pathlib
import random
import statistics
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import harness

SCRIPT = '''#pragma strict
library "noise.ks";
process: sa { }
octaves: p, count { return fbm(p, count, 2.0, 0.5); }
at: p
{
    var value, smooth, folded, ridged, a, b, c, first, second, id, away;
    value = noise(p.x, p.y, p.z);
    (smooth, folded, ridged) = octaves(p, 1);
    (a, b, c) = octaves(p, 5);
    (first, second, id, away) = cells(p);
    info(value, " ", smooth, " ", folded, " ", ridged, " ", a, " ", b, " ", c, " ", first, " ", second, " ", id, " ",
         away.x, " ", away.y, " ", away.z);
}
main
{
    makeNoise();
    CALLS
}
'''
NAMES = ("value", "smooth", "folded", "ridged", "smooth5", "folded5", "ridged5", "first", "second", "id", "x", "y", "z")
DIGITS = 2e-5  # numbers are shown with six digits
STEP = 0.02
# How fast a value can change at most. A distance changes no faster than one moves; a jump is faster than any of these.
STEEPEST = {"value": 2.7, "smooth": 6.0, "folded": 6.0, "ridged": 12.0, "first": 1.0, "second": 1.0}


def need(holds, what):
    if not holds:
        raise ValueError(what)


def evaluate(kestrel, library, points):
    calls = "\n    ".join(f"at(<{x:.6f}, {y:.6f}, {z:.6f}>);" for x, y, z in points)
    with tempfile.TemporaryDirectory() as folder:
        script = pathlib.Path(folder) / "script.ks"
        script.write_text(SCRIPT.replace("CALLS", calls))
        (pathlib.Path(folder) / "noise.ks").write_bytes(library.read_bytes())
        status, out, err = harness.run([kestrel, "run", script], cwd=folder)
    need(status == 0 and not err, f"exit status {status}\n{err.decode()[:2000]}")
    return [dict(zip(NAMES, map(float, line.split()), strict=True)) for line in out.decode().splitlines()]


def check_ranges(results):
    for name, low, high in (("value", 0, 1), ("smooth", -1, 1), ("smooth5", -1, 1), ("folded5", 0, 1), ("ridged5", 0, 1),
                            ("first", 0, 1.1), ("second", 0, 1.1), ("id", 0, 1)):
        values = [one[name] for one in results]
        need(low <= min(values) and max(values) <= high + DIGITS, f"{name} lies in {min(values)} .. {max(values)}")
        mean, spread = statistics.fmean(values), statistics.pstdev(values)
        need(spread > 0.05, f"{name} hardly changes: {spread}")
        if low < 0:
            need(abs(mean) < 0.05, f"{name} is {mean} on average")
    for one in results:
        need(abs(one["folded"] - abs(one["smooth"])) < DIGITS, f"folded is not the smooth one without sign: {one}")
        need(abs(one["ridged"] - (1 - one["folded"]) ** 2) < DIGITS, f"ridged does not follow from folded: {one}")
        need(one["first"] <= one["second"], f"the second is nearer than the first: {one}")
        away = math.hypot(one["x"], one["y"], one["z"])
        need(one["first"] > 1.09 or abs(away - one["first"]) < DIGITS, f"the way is {away} long: {one}")


def check_steps(results, points):
    for before, after, p in zip(results, results[1:], points):
        for name, steepest in STEEPEST.items():
            change = abs(after[name] - before[name])
            need(change <= steepest * STEP + DIGITS, f"{name} jumps by {change} at {p}")


def check(kestrel, library):
    chance = random.Random(5)

    def anywhere(size):
        return tuple(chance.uniform(-size, size) for _ in range(3))

    spread = [anywhere(20) for _ in range(1500)]
    results = evaluate(kestrel, library, spread)
    check_ranges(results)

    # What lies left of zero is no copy of what lies right of it.
    mirrored = evaluate(kestrel, library, [tuple(-c for c in p) for p in spread])
    for name in ("value", "smooth", "smooth5", "first", "id"):
        alike = abs(statistics.correlation([one[name] for one in results], [one[name] for one in mirrored]))
        need(alike < 0.15, f"{name} is mirrored at zero: {alike}")

    # From the spot of a cell itself, the same cell is found.
    spots = [tuple(c - one[axis] for c, axis in zip(p, "xyz")) for p, one in zip(spread, results)]
    for one, there in zip(results, evaluate(kestrel, library, spots)):
        need(there["first"] < 1e-4 and abs(there["id"] - one["id"]) < DIGITS, f"{one} leads to {there}")

    # Gradient noise is 0 at the corners of its cubes.
    corners = [tuple(float(chance.randint(-30, 30)) for _ in range(3)) for _ in range(200)]
    for p, one in zip(corners, evaluate(kestrel, library, corners)):
        need(one["smooth"] == 0, f"gradient noise at {p} is {one['smooth']}")

    # Along straight lines that cross many cubes, and zero on all axes
    for _ in range(6):
        start = anywhere(2)
        way = anywhere(1)
        length = math.hypot(*way) / STEP
        line = [tuple(s + (i - 300) * w / length for s, w in zip(start, way)) for i in range(600)]
        check_steps(evaluate(kestrel, library, line), line)


def main():
    args = harness.arguments(__doc__)
    harness.check_all(harness.find(args.tests, ".ks"), lambda library: check(args.kestrel, library))


if __name__ == "__main__":
    main()
