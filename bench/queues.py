"""Measures accesses to a queue by several programs at once, and checks that none is lost. Called by run.sh."""

import os
import pathlib
import subprocess
import sys

SCRIPT = pathlib.Path(__file__).resolve().parent / "queue_traffic.ks"
PROGRAMS, ROUNDS, ACCESSES_OF_A_ROUND = 4, 42_000, 6
PASSES = 5


def seconds(kestrel):
    """Of the slowest program."""
    running = [subprocess.Popen([kestrel, "run", SCRIPT], text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                env={**os.environ, "COUNT": str(ROUNDS), "ME": str(me)})
               for me in range(1, PROGRAMS + 1)]
    slowest = 0.0
    for process in running:
        out, _ = process.communicate()
        words = out.split()
        if process.returncode != 0 or words[1:] != ["0", str(PROGRAMS * ROUNDS)]:
            sys.exit(f"bench: queues lost or mixed something\n{out}")
        slowest = max(slowest, float(words[0]))
    return slowest


def main():
    kestrel = str((pathlib.Path(sys.argv[1]) / "kestrel").resolve())
    count = PROGRAMS * ROUNDS * ACCESSES_OF_A_ROUND
    middle = sorted(seconds(kestrel) for _ in range(PASSES))[PASSES // 2]
    print("| queue | programs | accesses | per second |")
    print("|---|---:|---:|---:|")
    print(f"| queue_traffic | {PROGRAMS} | {count} | {count / middle / 1e6:.2f} million |")


if __name__ == "__main__":
    main()
