#!/usr/bin/env python3
"""Runs language tests: scripts that say in comments what they report, in the order in which they report it.

    // expect: TEXT            the next message is this information
    // expect warning: TEXT    ... this warning
    // expect error: TEXT      ... this error
    // exit: N                 exit status (0 when not given)

TEXT is the second line of a message whose first line is just the script's path; otherwise "LINE1 | LINE2". In it,
{line} stands for the number of the line on which the expectation stands; a line may hold several expectations.
Every message must be expected; hints are not looked at. --update corrects the texts, kinds and status in place.

A line "// --- NAME" begins a script of its own: several short ones stand in one file. What is above the first such line
belongs to each of them, and every line keeps its number.
"""

import json
import pathlib
import re
import tempfile

import harness

EXPECTATION = re.compile(r"// expect(?: (warning|error))?: ?(.*?)(?=\s*// expect|$)")
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


def corrected(lines, actual, status):
    """The script with what came out in place of what was expected; None if that needs more or fewer expectations."""
    if len(expectations(lines)[0]) != len(actual):
        return None
    following = iter(actual)

    def replacement(found, number):
        kind, text = next(following)
        if found[2].rstrip().replace("{line}", str(number)) == text:
            text = found[2].rstrip()
        return f"// expect{'' if kind == 'info' else ' ' + kind}: {text}"

    return [EXIT.sub(f"// exit: {status}", EXPECTATION.sub(lambda found: replacement(found, number), line))
            for number, line in enumerate(lines, 1)]


def check_script(name, lines, args):
    """What is wrong with a script, or None; and its lines, corrected if asked for."""
    wanted = as_text(*expectations(lines))
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / name).write_text("".join(line + "\n" for line in lines), encoding="latin-1")
        status, stdout, stderr = harness.run([args.kestrel, "run", "--messages=json", name], folder)
    try:
        shown = messages(name, stdout)
    except (json.JSONDecodeError, KeyError) as error:
        return f"output is not what was promised: {error}\n{stdout!r}", lines
    actual = as_text(shown, status)
    if wanted == actual:
        return None, lines
    if args.update and (better := corrected(lines, shown, status)):
        return None, better
    return harness.difference(wanted, actual) + "\n" + stderr.decode("utf-8", "replace")[-4000:], lines


def check(path, args):
    lines = path.read_text(encoding="latin-1").splitlines()
    failures, written = [], lines
    for script in harness.scripts(lines):
        failure, better = check_script(path.name, script, args)
        failures += [failure] if failure else []
        written = [new if old else kept for old, new, kept in zip(script, better, written)]
    if written != lines:
        path.write_text("".join(line + "\n" for line in written), encoding="latin-1")
    return "\n".join(failures) or None


harness.run_files(__doc__, ".ks", check)
