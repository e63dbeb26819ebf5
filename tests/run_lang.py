#!/usr/bin/env python3
"""Runs language tests: scripts that say in comments what they report, in the order in which they report it.

    // expect: TEXT            the next message is this information
    // expect warning: TEXT    ... this warning
    // expect error: TEXT      ... this error
    // exit: N                 exit status (0 when not given)

TEXT is the second line of a message whose first line is just the script's path; otherwise "LINE1 | LINE2". In it,
{line} stands for the number of the line on which the expectation stands; a line may hold several expectations.
Every message must be expected; hints are not looked at.

A line "// --- NAME" begins a script of its own: several short ones stand in one file; behind "// --- each: NAME" every line
is one. What is above the first such line belongs to each of them, and every line keeps its number.
"""

import json
import pathlib
import re
import tempfile

import harness

EXPECTATION = re.compile(r"// expect(?: (warning|error))?: ?(.*?)(?=\s*// ex(?:pect|it: )|$)")
EXIT = re.compile(r"// exit: (\d+)\s*$")


def expectations(lines):
    wanted, status = [], 0
    for number, line in enumerate(lines, 1):
        wanted += [(found[1] or "info", found[2].rstrip().replace("{line}", str(number)))
                   for found in EXPECTATION.finditer(line)]
        if found := EXIT.search(line):
            status = int(found[1])
    return wanted, status


def messages(name, stdout):
    shown = []
    for line in stdout.decode("utf-8", "replace").splitlines():
        message = json.loads(line)
        if message["kind"] == "hint":
            continue
        first, second = message["line1"], message["line2"]
        if second is None:
            text = first
        elif first.endswith(name.upper()):
            text = second
        else:
            text = f"{first} | {second}"
        shown.append((message["kind"], text.rstrip()))
    return shown


def as_text(wanted, status):
    return [f"{kind}: {text}" for kind, text in wanted] + [f"exit: {status}"]


def check_script(name, lines, args):
    """What is wrong with a script, or None."""
    wanted = as_text(*expectations(lines))
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / name).write_text("".join(line + "\n" for line in lines), encoding="latin-1")
        status, stdout, stderr = harness.run([args.kestrel, "run", "--messages=json", name], folder)
    try:
        actual = as_text(messages(name, stdout), status)
    except (json.JSONDecodeError, KeyError) as error:
        return f"output is not what was promised: {error}\n{stdout!r}"
    if wanted == actual:
        return None
    return harness.difference(wanted, actual) + "\n" + stderr.decode("utf-8", "replace")[-4000:]


def check(path, args):
    scripts = harness.scripts(path.read_text(encoding="latin-1").splitlines())
    return "\n".join(wrong for script in scripts if (wrong := check_script(path.name, script, args))) or None


harness.run_files(__doc__, ".ks", check)
