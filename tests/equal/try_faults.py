#!/usr/bin/env python3
"""Puts each deliberate fault of faults/*.toml into a copy of the tree and looks whether `equal` finds it.

    tests/equal/try_faults.py [--count N] [--only WORDS] [--copy DIR]

The copy is built once, with the files as git knows them and as they are now; after that a fault costs one or two
sources. Fails when a text to find is not there exactly once, when a fault does not compile, or when one is not found.
"""

import argparse
import pathlib
import shutil
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
MOST_SECONDS = 120  # of a hundred programs, which take one or two
FOLDER = pathlib.Path(__file__).resolve().parent / "faults"


def read_faults():
    """A table is named by a file and a text in it; its rows say what breaks when which other text stands there."""
    tables = [tomllib.loads(path.read_text()) for path in sorted(FOLDER.glob("*.toml"))]
    return [{"name": f"{file}: {breaks}", "file": file, "find": find, "replace": replace,
             "arguments": table.get("arguments", [])}
            for table in tables for file, places in table.items() if file != "arguments"
            for find, faults in places.items() for breaks, replace in faults.items()]


def misplaced(fault):
    """@return what is wrong with the place of a fault, if anything is"""
    times = (ROOT / fault["file"]).read_text().count(fault["find"])
    return "" if times == 1 else f"{fault['name']}: the text to find is there {times} times"


def copy_tree(copy):
    """Brings the copy up to date; files that are the same keep their time, so that they are not built again."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            check=True, capture_output=True).stdout.decode().split("\0")
    for name in filter(None, listed):
        source, target = ROOT / name, copy / name
        if not source.is_file() or (target.exists() and target.read_bytes() == source.read_bytes()):
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)


def build(copy):
    configured = copy / "build/release/build.ninja"
    if not configured.exists():
        subprocess.run(["cmake", "--preset", "release"], cwd=copy, check=True, stdout=subprocess.DEVNULL)
    return subprocess.run(["cmake", "--build", "--preset", "release", "--target", "equal", "--parallel", "2"], cwd=copy,
                          capture_output=True, text=True)


def find(copy, count, arguments):
    """@return whether it was found, and how"""
    keep = copy / "kept"
    shutil.rmtree(keep, ignore_errors=True)
    began = time.monotonic()
    for first in range(1, count + 1, 100):  # the first find is enough
        try:
            run = subprocess.run([copy / "build/release/bin/equal", "--seed", str(first), "--count",
                                  str(min(100, count - first + 1)), "--keep", keep, "--first", *arguments],
                                 capture_output=True, text=True, errors="replace", timeout=MOST_SECONDS)
        except subprocess.TimeoutExpired:
            return True, f"does not end in {first}..{first + 99}"
        if run.returncode == 1:
            return True, f"{next(keep.glob('seed-*.ks')).stem}, {time.monotonic() - began:.1f} s"
        if run.returncode != 0:
            return run.returncode < 0, f"ended by {run.returncode} in {first}..{first + 99}"
    return False, f"not in {count} programs"


def try_fault(copy, fault, count):
    path = copy / fault["file"]
    text = path.read_text()
    path.write_text(text.replace(fault["find"], fault["replace"]))
    try:
        built = build(copy)
        if built.returncode != 0:
            return False, "does not compile\n" + built.stdout[-2000:]
        return find(copy, count, fault["arguments"])
    finally:
        path.write_text(text)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--count", type=int, default=15000, help="programs in which a fault must show (15000)")
    parser.add_argument("--only", help="the faults whose file or name contains this")
    parser.add_argument("--copy", type=pathlib.Path, default=ROOT / "build/faults", help="where the copy is kept")
    options = parser.parse_args()
    faults = [fault for fault in read_faults() if not options.only or options.only in fault["name"]]
    wrong = list(filter(None, map(misplaced, faults)))
    if wrong:
        sys.exit("try_faults: " + "\n".join(wrong))
    copy_tree(options.copy)
    built = build(options.copy)
    if built.returncode != 0:
        sys.exit("try_faults: the tree itself does not build\n" + built.stdout[-2000:])
    for arguments in {tuple(fault["arguments"]) for fault in faults}:
        differs, how = find(options.copy, 200, arguments)
        if differs or not how.startswith("not in"):
            sys.exit(f"try_faults: the tree itself differs: {how}")
    missed = 0
    for fault in faults:
        found, how = try_fault(options.copy, fault, options.count)
        missed += not found
        print(f"{'found' if found else 'NOT FOUND':10} {how:25} {fault['name']}", flush=True)
    print(f"try_faults: {len(faults) - missed} of {len(faults)} found")
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
