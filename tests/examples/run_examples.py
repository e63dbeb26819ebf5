"""Runs the examples: their surfaces can be seen, pictures can rely on their noise, and tools do their work."""

import csv
import math
import pathlib
import random
import statistics
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402

SIZE = 48
# The sphere covers about a third of the picture; a script that leaves less than this changed shades nothing.
LEAST_CHANGED = 0.1


class Surfaces(harness.CommandTest):
    def picture(self, script):
        out, _ = self.run_kestrel("render", script, "-o", "p.png", "--size", f"{SIZE}x{SIZE}", "--samples", "1",
                                  "--messages=json")
        self.assertNotRegex(out.decode(), '"kind":"(warning|error|hint)"')
        width, height, rows = harness.picture((self.folder / "p.png").read_bytes())
        self.assertEqual((width, height), (SIZE, SIZE))
        return b"".join(rows)

    def test_each_is_rendered_without_a_word_and_can_be_seen(self):
        plain = self.picture(self.write("plain.ks", "process: sa { }\n"))
        scripts = [*harness.EXAMPLES.glob("*.ks"), *(harness.EXAMPLES / "agents").glob("*.ks")]
        self.assertGreater(len(scripts), 12)
        for script in scripts:
            with self.subTest(script.name):
                changed = sum(a != b for a, b in zip(self.picture(script), plain, strict=True)) / len(plain)
                self.assertGreaterEqual(changed, LEAST_CHANGED)


class Noise(harness.CommandTest):
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
         vmag(away));
}
main { makeNoise(); CALLS }
'''
    RANGES = {"value": (0, 1), "smooth": (-1, 1), "folded": (0, 1), "ridged": (0, 1), "smooth5": (-1, 1), "folded5": (0, 1),
              "ridged5": (0, 1), "first": (0, 1.1), "second": (0, 1.1), "id": (0, 1), "away": (0, 1.1)}
    DIGITS = 2e-5  # numbers are shown with six digits
    STEP = 0.02
    # How fast a value can change at most. A distance changes no faster than one moves; a jump is faster than any of these.
    STEEPEST = {"value": 2.7, "smooth": 6.0, "folded": 6.0, "ridged": 12.0, "first": 1.0, "second": 1.0}

    def evaluate(self, points):
        calls = "\n    ".join(f"at(<{x:.6f}, {y:.6f}, {z:.6f}>);" for x, y, z in points)
        out, err = self.run_kestrel("run", self.write("script.ks", self.SCRIPT.replace("CALLS", calls)), "-I",
                                    harness.EXAMPLES / "library")
        self.assertEqual(err, "")
        return [dict(zip(self.RANGES, map(float, line.split()), strict=True)) for line in out.decode().splitlines()]

    def test_ranges_and_what_follows_from_what(self):
        chance = random.Random(5)
        points = [tuple(chance.uniform(-20, 20) for _ in range(3)) for _ in range(1500)]
        results = self.evaluate(points)
        mirrored = self.evaluate([tuple(-c for c in p) for p in points])
        for name, (low, high) in self.RANGES.items():
            values = [one[name] for one in results]
            self.assertTrue(low <= min(values) and max(values) <= high + self.DIGITS, (name, min(values), max(values)))
            self.assertGreater(statistics.pstdev(values), 0.05, name)
            if low < 0:
                self.assertLess(abs(statistics.fmean(values)), 0.05, name)
            if name in ("value", "smooth", "smooth5", "first", "id"):  # left of zero is no copy of what is right of it
                alike = statistics.correlation(values, [one[name] for one in mirrored])
                self.assertLess(abs(alike), 0.15, name)
        for one in results:
            self.assertAlmostEqual(one["folded"], abs(one["smooth"]), delta=self.DIGITS)
            self.assertAlmostEqual(one["ridged"], (1 - one["folded"]) ** 2, delta=self.DIGITS)
            self.assertLessEqual(one["first"], one["second"])
            self.assertTrue(one["first"] > 1.09 or abs(one["away"] - one["first"]) < self.DIGITS, one)

    def test_lines_that_cross_many_cubes_and_zero_meet_no_jumps(self):
        chance = random.Random(6)
        for _ in range(6):
            start, way = ([chance.uniform(-size, size) for _ in range(3)] for size in (2, 1))
            length = math.hypot(*way) / self.STEP
            line = [tuple(s + (i - 300) * w / length for s, w in zip(start, way)) for i in range(600)]
            results = self.evaluate(line)
            for before, after, p in zip(results, results[1:], line):
                for name, steepest in self.STEEPEST.items():
                    self.assertLessEqual(abs(after[name] - before[name]), steepest * self.STEP + self.DIGITS, (name, p))


class Tools(harness.CommandTest):
    def tool(self, name, **environment):
        out, err = self.run_kestrel("run", harness.EXAMPLES / f"tools/{name}.ks", **environment)
        self.assertEqual(err, "")
        return out.decode().splitlines()

    def test_csv_report(self):
        out = self.tool("csv_report")
        with open(self.folder / "materials.csv", newline="", encoding="ascii") as file:
            rows = list(csv.DictReader(file))
        report = (self.folder / "report.txt").read_text(encoding="ascii").splitlines()
        self.assertEqual(out, [f"{len(rows)} rows sorted"])
        self.assertGreaterEqual(len(rows), 2000)
        self.assertEqual([float(line.split()[0]) for line in report[1:11]],
                         sorted((float(row["cost"]) for row in rows), reverse=True)[:10])
        averages = {line.split()[1]: float(line.split()[0]) for line in report[12:]}
        self.assertEqual(set(averages), {row["group"] for row in rows})
        for group, average in averages.items():
            costs = [float(row["cost"]) for row in rows if row["group"] == group]
            self.assertAlmostEqual(average, statistics.fmean(costs), delta=0.006)

    def test_each_image(self):
        names = ["A.PNG", "b.png", "with blank.png"]
        for name in [*names, "no.txt"]:
            self.write("pictures/" + name, name)
        sums = subprocess.run(["cksum", *(f"pictures/{name}" for name in names)], cwd=self.folder, capture_output=True,
                              text=True, check=True).stdout.splitlines()
        self.assertEqual(self.tool("each_image", FOLDER="pictures"),
                         [f"{name}: {line}" for name, line in zip(names, sums)] + ["3 pictures, 0 failed"])

    def test_scene_tree_where_there_is_no_scene(self):
        self.assertEqual(self.tool("scene_tree"), ["There is no scene here."])


if __name__ == "__main__":
    harness.main(__doc__)
