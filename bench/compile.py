"""Measures how long scripts of growing length take to compile, and prints a table. Called by run.sh."""

import pathlib
import resource
import subprocess
import sys
import tempfile

LINES = (100, 1_000, 10_000, 100_000)
PASSES = 5


def names(count):
    return [f"name{i} = {i};" for i in range(count)] + ["process: sa { }"]


def functions(count):
    return [f"f{i}: a {{ return(a + {i}); }}" for i in range(count)] + ["process: sa { }"]


def calls(count):
    callees = min(count // 2, 1000)
    return ([f"f{i}: a {{ return(a + {i}); }}" for i in range(callees)] + ["process: sa {"]
            + [f"x = f{i % callees}({i});" for i in range(count - callees)] + ["}"])


def defines(count):
    return ([f"#define NAME{i}_ {i}" for i in range(count // 2)] + ["process: sa {"]
            + [f"x = NAME{i}_;" for i in range(count // 2)] + ["}"])


def milliseconds(kestrel, script):
    """Of processor time, without what an empty script takes to start."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    if subprocess.run([kestrel, "check", script], check=False).returncode != 0:
        sys.exit(f"bench: {script} does not compile")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return 1000 * (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)


def main():
    kestrel = str((pathlib.Path(sys.argv[1]) / "kestrel").resolve())
    print("| ms to compile | " + " | ".join(f"{lines} lines" for lines in LINES) + " |")
    print("|---|" + "---:|" * len(LINES))
    with tempfile.TemporaryDirectory() as folder:
        script = pathlib.Path(folder) / "script.ks"

        def median(lines):
            script.write_text("\n".join(lines) + "\n", encoding="ascii")
            return sorted(milliseconds(kestrel, script) for _ in range(PASSES))[PASSES // 2]

        start = median(["process: sa { }"])
        for make in (names, functions, calls, defines):
            times = [max(median(make(lines)) - start, 0) for lines in LINES]
            print(f"| {make.__name__} | " + " | ".join(f"{ms:.0f}" for ms in times) + " |")


if __name__ == "__main__":
    main()
