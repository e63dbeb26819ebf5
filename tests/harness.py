"""What the test runners share: running `kestrel` in a clean environment, telling differences, reading pictures."""

import argparse
import difflib
import json
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

TIME_LIMIT = 60  # seconds for one test; only a hang reaches it
EXAMPLES = pathlib.Path(__file__).resolve().parents[1] / "examples"


def scripts(lines):
    """The scripts of a file, which begin at lines "// --- NAME"; behind "// --- each: NAME" every line is one. In each of
    them the lines of the others are empty."""
    heads = [number for number, line in enumerate(lines) if line.startswith("// --- ")] or [len(lines)]
    parts = []
    for head, end in zip(heads, [*heads[1:], len(lines)]):
        each = "".join(lines[head:head + 1]).startswith("// --- each: ")
        parts += [(n, n + 1) for n in range(head + 1, end) if lines[n]] if each else [(head, end)]
    return [[line if number < heads[0] or begin <= number < end else "" for number, line in enumerate(lines)]
            for begin, end in parts]


def environment(home):
    """Nothing that is set outside changes what the command does; its store is in this folder."""
    env = {k: v for k, v in os.environ.items()
           if k not in ("TMP", "KSPATH", "KSCFG", "COMSPEC") and not k.startswith("KESTREL_")}
    return env | {"HOME": str(home), "XDG_DATA_HOME": str(home), "LC_ALL": "C", "TZ": "UTC"}


def run(command, cwd, **variables):
    """Runs a command with a store and a home of its own; returns (exit status, stdout, stderr) as bytes."""
    with tempfile.TemporaryDirectory() as home:
        env = environment(home) | variables
        try:
            done = subprocess.run(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=TIME_LIMIT)
        except subprocess.TimeoutExpired as expired:
            return "killed: did not end", expired.stdout or b"", expired.stderr or b""
    return done.returncode, done.stdout, done.stderr


class CommandTest(unittest.TestCase):
    """What uses the command in a folder of its own."""
    kestrel = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        self.environment = environment(self.folder / "store")

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content if isinstance(content, str) else json.dumps(content), encoding="utf-8")
        return path

    def start(self, *words, **options):
        """Begins a command, which ends with the test at the latest."""
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}
        process = subprocess.Popen([self.kestrel, *words], cwd=self.folder, env=self.environment, **pipes | options)
        self.addCleanup(lambda: [pipe.close() for pipe in (process.stdout, process.stderr) if pipe])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def until(self, holds, otherwise):
        for _ in range(200):
            if holds():
                return
            time.sleep(0.05)
        self.fail(otherwise)

    def run_kestrel(self, *words, status=0, **variables):
        """Its output as bytes and its errors, when it has ended with that status."""
        ended, out, err = run([self.kestrel, *words], self.folder, **variables)
        self.assertEqual(ended, status, (words, out[-2000:], err))
        return out, err.decode()


def main(description):
    """Runs the test cases of the program, or those that are named behind its options."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--kestrel", required=True, type=pathlib.Path, help="the command under test")
    args, rest = parser.parse_known_args()
    CommandTest.kestrel = str(args.kestrel.resolve())
    unittest.main(argv=[sys.argv[0], *rest])


def picture(png):
    """Width, height and rows of an 8-bit RGB PNG."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    width, height, depth, colour = struct.unpack(">IIBB", png[16:26])
    assert (depth, colour) == (8, 2)
    at, data = 8, b""
    while at < len(png):
        size, kind = struct.unpack(">I4s", png[at:at + 8])
        data += png[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += 12 + size
    raw, stride = zlib.decompress(data), 3 * width
    rows, above = [], bytes(stride)
    for start in range(0, len(raw), stride + 1):
        method, row = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        for i in range(stride):
            left = row[i - 3] if i >= 3 else 0
            corner = above[i - 3] if i >= 3 else 0
            guess = left + above[i] - corner
            nearest = min((left, above[i], corner), key=lambda v: abs(guess - v))
            row[i] = (row[i] + (0, left, above[i], (left + above[i]) // 2, nearest)[method]) & 255
        rows.append(bytes(row))
        above = row
    return width, height, rows


def difference(expected, actual):
    return "\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm=""))


def run_files(description, suffix, check):
    """Checks files: check(path, args) says what is wrong with one, or None."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--kestrel", required=True, type=pathlib.Path, help="the command under test")
    parser.add_argument("--update", action="store_true", help="write what came out into the tests")
    parser.add_argument("tests", nargs="+", type=pathlib.Path, help="test files or folders of them")
    args = parser.parse_args()
    args.kestrel = args.kestrel.resolve()
    files = [file for path in args.tests for file in (sorted(path.rglob("*" + suffix)) if path.is_dir() else [path])]
    failures = [(path.name, text) for path in files if (text := check(path.resolve(), args)) is not None]
    for name, text in failures:
        print(f"FAILED {name}\n{text}\n")
    print(f"{len(files) - len(failures)} of {len(files)} passed")
    sys.exit(1 if failures or not files else 0)
