#!/usr/bin/env bash
# Which lines the tests run: builds the preset `coverage`, runs all tests, and prints the share of each folder and the files of
# which the most lines are never run. A page for each file goes to build/coverage/report. Takes some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/need.sh
need lcov

cmake --preset coverage
cmake --build --preset coverage --parallel "$(nproc)"
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)"
lcov --quiet --capture --no-external --base-directory "$PWD" --directory build/coverage --output-file build/coverage/lines.info
genhtml --quiet --output-directory build/coverage/report build/coverage/lines.info
python3 - build/coverage/lines.info <<'END'
import collections
import pathlib
import re
import sys

FOLDERS = {"platform", "engine", "frontend", "builtins", "ipc", "agents", "host", "reference", "preview", "cli"}
TEST = re.compile(r"(_test|test_support|fixture)[^/]*$")
files = collections.defaultdict(lambda: collections.defaultdict(int))  # file, line: runs
file = None
for row in open(sys.argv[1]):
    if row.startswith("SF:"):
        path = pathlib.PurePath(row[3:].strip())
        name = path.relative_to(pathlib.Path.cwd()) if path.is_relative_to(pathlib.Path.cwd()) else path
        file = str(name) if name.parts[0] in FOLDERS and not TEST.search(str(name)) else None
    elif row.startswith("DA:") and file:
        line, runs = row[3:].split(",")[:2]
        files[file][int(line)] += int(runs)
folders = collections.defaultdict(lambda: [0, 0])
missed = {name: sum(not runs for runs in lines.values()) for name, lines in files.items()}
for name, lines in files.items():
    for folder in (name.split("/")[0], "all"):
        folders[folder][0] += len(lines) - missed[name]
        folders[folder][1] += len(lines)
for folder, (covered, total) in sorted(folders.items()):
    print(f"{folder:12} {100 * covered / total:5.1f} %  of {total} lines")
print("the most lines that no test runs:")
for name in sorted(files, key=lambda name: -missed[name])[:15]:
    print(f"{missed[name]:5}  {name}")
END
