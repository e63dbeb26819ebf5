#!/usr/bin/env python3
"""Checks what `kestrel check` says about the typical mistakes of a first hour.

NAME.ks holds scripts that make one mistake each, as the language tests do; NAME.expected has a line for everything
that is said about them, and for each at most one hint:

    LINE:COLUMN error unknown-call              (a message: its id; 0:0 where it has no place)
    LINE:COLUMN hint  negative-number  TEXT     (a hint: its rule and all of its text)

The count of errors at the end is left out, and so are syntax errors (unexpected-token), which hints explain. A script with
NAME.repairs makes several mistakes, one in each line named there:

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


def told(script, lines, args):
    """What check says, in order: (line, column, kind, id or rule, text of hints)."""
    script.write_text("".join(line + "\n" for line in lines), encoding="latin-1")
    _, stdout, stderr = harness.run([args.kestrel, "check", "--messages=json", script.name], script.parent)
    assert not stderr, stderr
    said = [json.loads(line) for line in stdout.decode().splitlines()]
    return [(one.get("line", 0), one.get("column", 0), one["kind"], one.get("rule") or one["id"],
             one["line1"] if one["kind"] == "hint" else "") for one in said if one.get("id") != "compile-summary"]


def check_one(script, lines, args):
    """What is said of a mistake, and what is wrong with that."""
    said = told(script, lines, args)
    fine = said and sum(kind == "hint" for _, _, kind, _, _ in said) <= 1
    return said, "" if fine else f"one hint is wanted: {said}"


def check_all(script, lines, args):
    repairs = [REPAIR.fullmatch(line).groups() for line in args.repairs.read_text().splitlines()]
    repairs = {(int(line), rule): text for line, rule, text in repairs}
    said = []
    for _ in range(2):
        said += told(script, lines, args)
        named = {(line, rule) for line, _, kind, rule, _ in said if kind == "hint"}
        if wrong := named - set(repairs):
            return said, f"no mistakes: {sorted(wrong)}"
        for line, rule in named:
            lines[line - 1] = repairs[line, rule]
    rest = told(script, lines, args)
    missed = set(repairs) - named
    return said, f"not told in two rounds: {sorted(missed)}\nsaid of what is repaired: {rest}" if missed or rest else ""


def check(path, args):
    args.repairs = path.with_suffix(".repairs")
    check_script = check_all if args.repairs.exists() else check_one
    with tempfile.TemporaryDirectory() as folder:
        for library in path.parent.glob("*.lib"):
            shutil.copy(library, folder)
        scripts = harness.scripts(path.read_text(encoding="latin-1").splitlines())
        results = [check_script(pathlib.Path(folder) / path.name, lines, args) for lines in scripts]
    lines = [f"{line}:{column} {kind} {name} {text}".rstrip() for said, _ in results for line, column, kind, name, text in said
             if name != "unexpected-token"]
    expected = path.with_suffix(".expected")
    if args.update:
        expected.write_text("".join(line + "\n" for line in lines))
    wanted = expected.read_text().splitlines() if expected.exists() else ["a file " + expected.name]
    return "\n".join(wrong for _, wrong in results if wrong) or harness.difference(wanted, lines) or None


harness.run_files(__doc__, ".ks", check)
