"""Measures built-ins whose cost must not grow faster than their work, and prints a table. Called by run.sh."""

import os
import pathlib
import subprocess
import sys
import tempfile

FOLDER = pathlib.Path(__file__).parent
PASSES = 5
ROWS = [("read_lines", "LINES", (100_000, 1_000_000)), ("append", "COUNT", (25_000, 100_000, 400_000))]


def run(kestrel, name, variable, count, folder):
    """Seconds, and the largest amount of memory in MiB, of one run."""
    command = [str(kestrel), "run", str(FOLDER.resolve() / f"{name}.ks")]
    process = subprocess.Popen(command, cwd=folder, env={**os.environ, variable: str(count)}, text=True,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    out = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds, done = out.split() if status == 0 else (0, 0)
    if int(done) != count:
        sys.exit(f"bench: {name} did {done} instead of {count}\n{out}")
    return float(seconds), usage.ru_maxrss / 1024


def main():
    kestrel = (pathlib.Path(sys.argv[1]) / "kestrel").resolve()
    print("| built-in | count | per second | peak MiB |")
    print("|---|---:|---:|---:|")
    for name, variable, counts in ROWS:
        for count in counts:
            with tempfile.TemporaryDirectory() as folder:
                passes = sorted(run(kestrel, name, variable, count, folder) for _ in range(PASSES))
            seconds, memory = passes[PASSES // 2]
            rate = f"{count / seconds / 1e6:.2f} million" if seconds > 0 else "too fast to tell"
            print(f"| {name} | {count} | {rate} | {memory:.0f} |")


if __name__ == "__main__":
    main()
