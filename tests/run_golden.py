#!/usr/bin/env python3
"""Runs golden tests: one text file holds a command, its input files and everything that it writes.

    what this test shows (free text)
    === command
    kestrel list input.ks
    === file input.ks
    ...
    === stdout
    === stderr
    === exit 0

The command runs in a fresh directory with the input files in it. In the output that directory reads $DIR; in the
system's own form (backslashes) it reads $SYSDIR, in upper case $SCRIPTDIR. Sections that are absent are empty, an absent
exit is 0, an absent command is "kestrel STAGE main.ks". --update writes the output into the test.
"""

import pathlib
import re
import shlex
import tempfile

import harness

HEAD = re.compile(r"^=== (.*)$")
OUTPUT = re.compile(r"stdout$|stderr$|exit ")


def sections(text):
    parts, name = {"": []}, ""
    for line in text.splitlines():
        if found := HEAD.match(line):
            name = found[1]
            parts[name] = []
        else:
            parts[name].append(line)
    return parts


def write_inputs(parts, folder):
    for name, lines in parts.items():
        kind, _, file = name.partition(" ")
        if kind == "file":
            (folder / file).write_text("".join(line + "\n" for line in lines), encoding="latin-1")


def readable(output, folder):
    native = str(folder)
    system = native.replace("/", "\\")
    text = output.decode("latin-1").replace(native, "$DIR")
    for form, name in ((system, "$SYSDIR"), (system.upper(), "$SCRIPTDIR")):
        text = text.replace(form.replace("\\", "\\\\"), name).replace(form, name)
    return text.splitlines()


def check(path, args):
    text = path.read_text(encoding="latin-1")
    parts = sections(text)
    with tempfile.TemporaryDirectory() as made:
        folder = pathlib.Path(made).resolve()
        write_inputs(parts, folder)
        command = shlex.split(" ".join(parts.get("command", ["kestrel", path.parent.name, "main.ks"])))
        if command[0] != "kestrel":
            return "the command must be kestrel"
        status, stdout, stderr = harness.run([args.kestrel, *command[1:]], folder)
        actual = {"stdout": readable(stdout, folder), "stderr": readable(stderr, folder), f"exit {status}": []}
    expected = {"stdout": [], "stderr": []} | {name: lines for name, lines in parts.items() if OUTPUT.match(name)}
    if not any(name.startswith("exit") for name in expected):
        expected["exit 0"] = []
    if expected == actual:
        return None
    if args.update:
        kept = [(name, lines) for name, lines in parts.items() if not OUTPUT.match(name)]
        blocks = kept + [(name, lines) for name, lines in actual.items() if lines or name == f"exit {status or ''}"]
        written = [line for name, lines in blocks for line in ([f"=== {name}"] if name else []) + lines]
        path.write_text("".join(line + "\n" for line in written), encoding="latin-1")
        return None
    return "\n".join(f"{name}:\n{harness.difference(expected.get(name, ['(not expected)']), lines)}"
                     for name, lines in actual.items() if expected.get(name) != lines)


harness.run_files(__doc__, ".txt", check)
