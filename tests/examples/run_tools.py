#!/usr/bin/env python3
"""Runs the examples that work on files, and compares what they make with what Python makes of the same files; and the
one that works on a scene, where there is none."""

import csv
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import harness


def run(kestrel, script, folder, **environment):
    status, out, err = harness.run([kestrel, "run", script.resolve()], cwd=folder, **environment)
    if status != 0 or err:
        raise ValueError(f"exit status {status}\n{err.decode()}{out.decode()}")
    return out.decode().splitlines()


def check_csv_report(kestrel, script):
    with tempfile.TemporaryDirectory() as folder:
        out = run(kestrel, script, folder)
        with open(pathlib.Path(folder) / "materials.csv", newline="", encoding="ascii") as file:
            rows = list(csv.DictReader(file))
        report = (pathlib.Path(folder) / "report.txt").read_text(encoding="ascii").splitlines()
    if len(rows) < 2000 or out != [f"{len(rows)} rows sorted"]:
        raise ValueError(f"{len(rows)} rows, but the script says {out}")
    dearest = sorted((float(row["cost"]) for row in rows), reverse=True)[:10]
    listed = [float(line.split()[0]) for line in report[1:11]]
    if listed != dearest:
        raise ValueError(f"listed {listed} instead of {dearest}")
    averages = {line.split()[1]: float(line.split()[0]) for line in report[12:]}
    groups = {row["group"] for row in rows}
    for group in groups:
        costs = [float(row["cost"]) for row in rows if row["group"] == group]
        if abs(averages.get(group, -1) - sum(costs) / len(costs)) > 0.006:
            raise ValueError(f"wrong average of {group}: {averages}")
    if groups != set(averages):
        raise ValueError(f"groups {groups}, averages {averages}")


def check_each_image(kestrel, script):
    names = ["A.PNG", "b.png", "with blank.png"]
    with tempfile.TemporaryDirectory() as folder:
        pictures = pathlib.Path(folder) / "pictures"
        pictures.mkdir()
        for name in [*names, "no.txt"]:
            (pictures / name).write_text(name)
        out = run(kestrel, script, folder, FOLDER="pictures")
        sums = subprocess.run(["cksum", *(f"pictures/{name}" for name in names)], cwd=folder, capture_output=True,
                              text=True, check=True).stdout.splitlines()
    expected = [f"{name}: {line}" for name, line in zip(names, sums)] + ["3 pictures, 0 failed"]
    if out != expected:
        raise ValueError(harness.difference(expected, out))


def check_scene_tree(kestrel, script):
    with tempfile.TemporaryDirectory() as folder:
        out = run(kestrel, script, folder)
    if out != ["There is no scene here."]:
        raise ValueError(f"says {out}")


CHECKS = {"csv_report": check_csv_report, "each_image": check_each_image, "scene_tree": check_scene_tree}


def main():
    args = harness.arguments(__doc__)
    harness.check_all(harness.find(args.tests, ".ks"), lambda script: CHECKS[script.stem](args.kestrel, script))


main()
