#!/usr/bin/env python3
"""Checks what `kestrel check` says about the typical mistakes of a first hour.

Each NAME.ks makes one mistake; NAME.expected has a line for everything that is said about it,
and in it at most one hint:

    LINE:COLUMN error unexpected-token          (a message: its id; 0:0 where it has no place)
    LINE:COLUMN hint  negative-number  TEXT     (a hint: its rule and all of its text)

The count of errors at the end is left out. A script with NAME.repairs makes several mistakes, one in each line named there:

    LINE RULE: the line as it should be

It is checked, the lines that were named are repaired, it is checked again and repaired again; after these two rounds every
rule must have been told at its line, and the third check must be silent. --update writes NAME.expected.
"""

import json
import pathlib
import re
import shutil
import tempfile

import harness

REPAIR = re.compile(r"(\d+) ([a-z-]+): ?(.*)")


def told(kestrel, script):
    """What check says, in order: (line, column, kind, id or rule, text of hints)."""
    _, stdout, stderr = harness.run([kestrel, "check", "--messages=json", script.name], script.parent)
    assert not stderr, stderr
    said = [json.loads(line) for line in stdout.decode().splitlines()]
    return [(one.get("line", 0), one.get("column", 0), one["kind"], one.get("rule") or one["id"],
             one["line1"] if one["kind"] == "hint" else "") for one in said if one.get("id") != "compile-summary"]


def check_one(path, args):
    lines = [f"{line}:{column} {kind} {name} {text}".rstrip() for line, column, kind, name, text in told(args.kestrel, path)]
    expected = path.with_suffix(".expected")
    if args.update:
        expected.write_text("".join(line + "\n" for line in lines))
    wanted = expected.read_text().splitlines() if expected.exists() else ["a file " + expected.name]
    if not lines or sum(" hint " in line for line in lines) > 1:
        return "one hint is wanted:\n" + "\n".join(lines)
    return None if lines == wanted else harness.difference(wanted, lines)


def check_all(path, args):
    repairs = [REPAIR.fullmatch(line).groups() for line in path.with_suffix(".repairs").read_text().splitlines()]
    repairs = {(int(line), rule): text for line, rule, text in repairs}
    with tempfile.TemporaryDirectory() as folder:
        script = pathlib.Path(shutil.copy(path, folder))
        lines = script.read_text().splitlines()
        for _ in range(2):
            named = {(line, rule) for line, _, kind, rule, _ in told(args.kestrel, script) if kind == "hint"}
            if wrong := named - set(repairs):
                return f"no mistakes: {sorted(wrong)}"
            for place in named:
                lines[place[0] - 1] = repairs.pop(place)
            script.write_text("".join(line + "\n" for line in lines))
        rest = told(args.kestrel, script)
    if repairs or rest:
        return f"not told in two rounds: {sorted(repairs)}\nsaid of what is repaired: {rest}"
    return None


def main():
    args = harness.arguments(__doc__)
    files = harness.find(args.tests, ".ks")
    results = [(path, (check_all if path.with_suffix(".repairs").exists() else check_one)(path, args)) for path in files]
    harness.report([(path, text) for path, text in results if text is not None], len(files))


main()
