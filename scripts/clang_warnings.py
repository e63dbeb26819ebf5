#!/usr/bin/env python3
"""Lets clang look at every source for its warnings, which are errors, without making a program of them.

    scripts/clang_warnings.py [--jobs N] BUILD

BUILD is a configured build folder of the preset `clang`, without precompiled headers; the generated sources are built first.
"""

import argparse
import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

GENERATED = "kestrel_frontend_generated"  # the target whose sources bison and flex write


def look(entry):
    """What clang says of one source, and whether it is content."""
    words = shlex.split(entry["command"])
    output = words.index("-o")
    del words[output:output + 2]
    words[words.index("-c")] = "-fsyntax-only"
    done = subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True)
    return done.stderr, done.returncode == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    args = parser.parse_args()
    subprocess.run(["cmake", "--build", args.build, "--target", GENERATED, "--parallel", str(args.jobs)], check=True)
    entries = json.loads((args.build / "compile_commands.json").read_text(encoding="utf-8"))
    bad = 0
    with ThreadPoolExecutor(args.jobs) as pool:
        for text, content in pool.map(look, entries):
            if text:
                print(text, file=sys.stderr)
            bad += not content
    print(f"clang looked at {len(entries)} sources, {bad} have faults")
    return 1 if bad or not entries else 0


if __name__ == "__main__":
    sys.exit(main())
