#!/usr/bin/env python3
"""Runs language tests: scripts that say in comments what they report, in the order in which they report it.

    // expect: TEXT            the next message is this information
    // expect warning: TEXT    ... this warning
    // expect error: TEXT      ... this error
    // exit: N                 exit status (0 when not given)

TEXT is the second line of a message whose first line is just the script's path; otherwise "LINE1 | LINE2". In it,
{line} stands for the number of the line on which the expectation stands.
Every message must be expected; hints are not looked at. --update corrects the texts, kinds and status in place.
"""

import json
import re

import harness

EXPECTATION = re.compile(r"// expect(?: (warning|error))?: ?(.*)$")
EXIT = re.compile(r"// exit: (\d+)\s*$")


def expectations(lines):
    wanted, status = [], 0
    for number, line in enumerate(lines, 1):
        if found := EXPECTATION.search(line):
            wanted.append((found[1] or "info", found[2].rstrip().replace("{line}", str(number))))
        elif found := EXIT.search(line):
            status = int(found[1])
    return wanted, status


def messages(path, stdout):
    shown = []
    for line in stdout.decode("utf-8", "replace").splitlines():
        message = json.loads(line)
        if message["kind"] == "hint":
            continue
        first, second = message["line1"], message["line2"]
        if second is None:
            text = first
        elif first.endswith(path.name.upper()):
            text = second
        else:
            text = f"{first} | {second}"
        shown.append((message["kind"], text.rstrip()))
    return shown


def as_text(wanted, status):
    return [f"{kind}: {text}" for kind, text in wanted] + [f"exit: {status}"]


def update(path, lines, actual, status):
    wanted, _ = expectations(lines)
    if len(wanted) != len(actual):
        return False
    following = iter(actual)

    def corrected(number, line):
        if found := EXPECTATION.search(line):
            kind, text = next(following)
            if found[2].rstrip().replace("{line}", str(number)) == text:
                text = found[2].rstrip()
            return EXPECTATION.sub(lambda _: f"// expect{'' if kind == 'info' else ' ' + kind}: {text}", line)
        return line if not EXIT.search(line) else EXIT.sub(f"// exit: {status}", line)

    path.write_text("\n".join(corrected(n, line) for n, line in enumerate(lines, 1)) + "\n", encoding="latin-1")
    return True


def check(path, args):
    lines = path.read_text(encoding="latin-1").splitlines()
    wanted = as_text(*expectations(lines))
    status, stdout, stderr = harness.run([args.kestrel, "run", "--messages=json", path.name], path.parent)
    try:
        shown = messages(path, stdout)
    except (json.JSONDecodeError, KeyError) as error:
        return f"output is not what was promised: {error}\n{stdout!r}"
    actual = as_text(shown, status)
    if wanted == actual or (args.update and update(path, lines, shown, status)):
        return None
    return harness.difference(wanted, actual) + "\n" + stderr.decode("utf-8", "replace")[-4000:]


def main():
    args = harness.arguments(__doc__)
    files = harness.find(args.tests, ".ks")
    results = [(path, check(path.resolve(), args)) for path in files]
    harness.report([(path, text) for path, text in results if text is not None], len(files))


main()
