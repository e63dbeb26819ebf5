"""What both test runners share: running `kestrel` in a clean environment and telling differences."""

import argparse
import difflib
import os
import pathlib
import subprocess
import sys
import tempfile

TIME_LIMIT = 60  # seconds for one test; only a hang reaches it


def arguments(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--kestrel", required=True, type=pathlib.Path, help="the command under test")
    parser.add_argument("--update", action="store_true", help="write what came out into the tests")
    parser.add_argument("tests", nargs="+", type=pathlib.Path, help="test files or folders of them")
    args = parser.parse_args()
    args.kestrel = args.kestrel.resolve()
    return args


def find(paths, suffix):
    files = []
    for path in paths:
        files += sorted(path.rglob("*" + suffix)) if path.is_dir() else [path]
    if not files:
        sys.exit("no tests found")
    return files


def run(command, cwd):
    """Runs a command with a store and a home of its own; returns (exit status, stdout, stderr) as bytes."""
    with tempfile.TemporaryDirectory() as home:
        env = {k: v for k, v in os.environ.items() if k not in ("TMP", "KSPATH", "KSCFG", "COMSPEC")}
        env |= {"HOME": home, "XDG_DATA_HOME": home, "LC_ALL": "C", "TZ": "UTC"}
        try:
            done = subprocess.run(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=TIME_LIMIT)
        except subprocess.TimeoutExpired as expired:
            return "killed: did not end", expired.stdout or b"", expired.stderr or b""
    return done.returncode, done.stdout, done.stderr


def difference(expected, actual):
    return "\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm=""))


def report(failures, count):
    for name, text in failures:
        print(f"FAILED {name}\n{text}\n")
    print(f"{count - len(failures)} of {count} passed")
    sys.exit(1 if failures else 0)
