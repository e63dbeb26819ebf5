"""Renders example scripts in a small size and looks at what came out."""

import json
import pathlib
import struct
import sys
import tempfile
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import harness

SIZE = 48
# The sphere covers about a third of the picture; a script that leaves less than this changed shades nothing.
LEAST_CHANGED = 0.1


def pixels(png):
    """The pixel rows of a PNG; same filters for same rows, so that equal pictures have equal rows."""
    if png[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("no PNG")
    at, data, width = 8, b"", 0
    while at < len(png):
        length, kind = struct.unpack(">I4s", png[at:at + 8])
        body = png[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height = struct.unpack(">II", body[:8])
            if (width, height) != (SIZE, SIZE):
                raise ValueError(f"the picture has {width}x{height} pixels")
        if kind == b"IDAT":
            data += body
        at += 12 + length
    return unfilter(zlib.decompress(data), 3 * width)


def unfilter(data, row_length, step=3):
    rows, above = [], bytes(row_length)
    for start in range(0, len(data), row_length + 1):
        kind, row = data[start], bytearray(data[start + 1:start + 1 + row_length])
        for i in range(row_length):
            left = row[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            guess = left + above[i] - corner
            paeth = min((left, above[i], corner), key=lambda value: abs(guess - value))
            row[i] = (row[i] + (0, left, above[i], (left + above[i]) // 2, paeth)[kind]) & 255
        rows.append(bytes(row))
        above = row
    return b"".join(rows)


def render(kestrel, script, folder):
    """The messages and the picture of a script; raises ValueError when something is wrong with it."""
    picture = pathlib.Path(folder) / "picture.png"
    status, out, err = harness.run(
        [kestrel, "render", script, "-o", picture, "--size", f"{SIZE}x{SIZE}", "--samples", "1",
         "--messages=json"], cwd=folder)
    if status != 0:
        raise ValueError(f"exit status {status}\n{err.decode()}{out.decode()}")
    for line in out.decode().splitlines():
        if json.loads(line).get("kind") in ("warning", "error", "hint"):
            raise ValueError(line)
    return pixels(picture.read_bytes())


def check(kestrel, script, plain):
    with tempfile.TemporaryDirectory() as folder:
        picture = render(kestrel, script.resolve(), folder)
    changed = sum(a != b for a, b in zip(picture, plain, strict=True)) / len(plain)
    if changed < LEAST_CHANGED:
        raise ValueError(f"only {changed:.1%} of the picture differ from the plain surface")


def main():
    args = harness.arguments(__doc__)
    scripts = harness.find(args.tests, ".ks")
    with tempfile.TemporaryDirectory() as folder:
        plain_script = pathlib.Path(folder) / "plain.ks"
        plain_script.write_text("process: sa { }\n")
        plain = render(args.kestrel, plain_script, folder)
    failures = []
    for script in scripts:
        try:
            check(args.kestrel, script, plain)
        except ValueError as wrong:
            failures.append((script.name, str(wrong)))
    harness.report(failures, len(scripts))


if __name__ == "__main__":
    main()
