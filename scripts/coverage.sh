#!/usr/bin/env bash
# Which lines the tests run: builds the preset `coverage`, runs all tests, and prints the share of each folder and the files of
# which the most lines are never run. A page for each file goes to build/coverage/report. Takes some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/need.sh
need gcovr

cmake --preset coverage
cmake --build --preset coverage --parallel "$(nproc)"
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)"
mkdir -p build/coverage/report
gcovr --root . --filter '^(platform|engine|frontend|builtins|ipc|agents|host|reference|preview|cli)/' \
    --exclude '.*(_test|test_support|fixture)[^/]*$' --exclude-unreachable-branches \
    --json-summary build/coverage/summary.json --html-details build/coverage/report/index.html build/coverage
python3 - build/coverage/summary.json <<'END'
import collections
import json
import sys

files = json.load(open(sys.argv[1]))["files"]
folders = collections.defaultdict(lambda: [0, 0])
for file in files:
    for folder in (file["filename"].split("/")[0], "all"):
        folders[folder][0] += file["line_covered"]
        folders[folder][1] += file["line_total"]
for folder, (covered, total) in folders.items():
    print(f"{folder:12} {100 * covered / total:5.1f} %  of {total} lines")
print("the most lines that no test runs:")
for file in sorted(files, key=lambda file: file["line_covered"] - file["line_total"])[:15]:
    print(f"{file['line_total'] - file['line_covered']:5}  {file['filename']}")
END
