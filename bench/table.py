"""Measures the benchmarks in all languages, compares their pictures, and prints a table. Called by run.sh."""

import json
import pathlib
import subprocess
import sys

FOLDER = pathlib.Path(__file__).parent
NAMES = ["checker", "marble", "brick", "mandelbrot", "value_noise", "cell_pattern"]
TOLERANCE = 1e-9  # of the numbers that describe a picture


def output(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        sys.exit(f"bench: {' '.join(map(str, command))} ended with {done.returncode}\n{done.stderr}{done.stdout}")
    return done.stdout


def measure_kestrel(kestrel):
    """Name -> (nanoseconds per sample, picture)."""
    results = {}
    for name in NAMES:
        script = FOLDER / f"{name}.ks"
        timing = json.loads(output(kestrel, "bench", script, "--json"))
        picture = output(kestrel, "run", script).split()
        if picture[0] != "picture":
            sys.exit(f"bench: {script} does not describe its picture: {' '.join(picture)}")
        results[name] = timing["nsPerSample"], [float(number) for number in picture[1:]]
    return results


def measure_others(*command):
    lines = [line.split() for line in output(*command).splitlines()]
    return {name: (float(time), [float(number) for number in picture]) for name, time, *picture in lines}


def compare(results):
    """Ends the program when two languages computed different pictures."""
    reference = results["C++"]
    wrong = []
    for language, measured in results.items():
        for name in NAMES:
            picture, expected = measured[name][1], reference[name][1]
            differs = len(picture) != len(expected) or not all(
                abs(a - b) <= TOLERANCE for a, b in zip(picture, expected))
            if differs:
                wrong.append(f"bench: {name}: {language} gives {picture}, C++ {expected}")
    if wrong:
        sys.exit("\n".join(wrong))


def print_table(results):
    languages = list(results)
    print("| ns per sample | " + " | ".join(languages) + " | Kestrel / Lua 5.4 | Kestrel / C++ |")
    print("|---|" + "---:|" * (len(languages) + 2))
    for name in NAMES:
        times = {language: results[language][name][0] for language in languages}
        cells = [f"{time:.0f}" if time >= 100 else f"{time:.1f}" for time in times.values()]
        cells += [f"{times['Kestrel'] / times[other]:.1f}" for other in ("Lua 5.4", "C++")]
        print(f"| {name} | " + " | ".join(cells) + " |")


def main():
    programs = pathlib.Path(sys.argv[1])
    results = {
        "Kestrel": measure_kestrel(programs / "kestrel"),
        "C++": measure_others(programs / "kestrel-bench"),
        "Lua 5.4": measure_others("lua5.4", FOLDER / "harness.lua", FOLDER, *NAMES),
        "LuaJIT": measure_others("luajit", FOLDER / "harness.lua", FOLDER, *NAMES),
    }
    compare(results)
    print_table(results)


if __name__ == "__main__":
    main()
