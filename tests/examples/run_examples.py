"""Renders example scripts in a small size and looks at what came out."""

import json
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
import harness

SIZE = 48
# The sphere covers about a third of the picture; a script that leaves less than this changed shades nothing.
LEAST_CHANGED = 0.1


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
    width, height, rows = harness.picture(picture.read_bytes())
    if (width, height) != (SIZE, SIZE):
        raise ValueError(f"the picture has {width}x{height} pixels")
    return b"".join(rows)


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
    harness.check_all(scripts, lambda script: check(args.kestrel, script, plain))


if __name__ == "__main__":
    main()
