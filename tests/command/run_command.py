"""Drives what all commands of `kestrel` have in common, as a user does at a shell."""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402

RED = "process: sa { sa.color[1] = 1; sa.color[2] = 0; sa.color[3] = 0; }\n"
DEFAULTS = """
radius = 0.3; tint = <0,0,1>; label = "plain"; twice = 2 * radius;
process: sa { sa.luminous = radius; sa.color[1] = tint.x; }
main { info(radius, " ", tint, " ", label, " ", twice); }
"""


class Command(harness.CommandTest):
    def run_command(self, *words, stdin="", status=0):
        process = self.start(*words, stdin=subprocess.PIPE)
        out, err = process.communicate(stdin, timeout=harness.TIME_LIMIT)
        self.assertEqual(process.returncode, status, (words, out, err))
        return out, err


class Input(Command):
    def test_every_command_reads_a_script_from_standard_input(self):
        script = RED + 'main { info("hello"); }\n'
        self.assertEqual(self.run_command("check", "-", stdin=script), ("", ""))
        self.assertIn("OP_CALL", self.run_command("list", "-", stdin=script)[0])
        self.assertEqual(self.run_command("run", "-", stdin=script)[0], "hello\n")
        line = json.loads(self.run_command("shade", "-", stdin=script)[0])
        self.assertEqual((line["sample"]["color"], line["describe"]), ([1, 0, 0], "Kestrel/PT - <stdin>"))
        self.run_command("render", "-", "-o", "p.png", "--size", "8x8", "--samples", "1", "--jobs", "2", stdin=script)
        self.run_command("bench", "-", "--grid", "2x2", "--passes", "1", stdin=script)
        self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ["p.png", "store"])

    def test_messages_name_standard_input_and_quote_its_lines(self):
        for command in ("check", "run", "shade", "list"):
            with self.subTest(command):
                _, err = self.run_command(command, "-", stdin="process: sa { }\nmain { x = ; }\n", status=1)
                self.assertTrue(err.startswith("<stdin>:2:12: error: "), err)
                self.assertIn("    2 | main { x = ; }\n", err)
        for command, status in (("run", 0), ("shade", 1)):
            _, err = self.run_command(command, "-", stdin="process: sa {}\nmain {}\nx = 1 / 0;\n", status=status)
            self.assertIn("<stdin>:3:", err)
            out, _ = self.run_command(command, "-", "--messages=json", stdin="x = ;", status=1)
            self.assertNotIn("/proc", out.lower())
            self.assertNotIn("\\\\PROC", out)
            self.assertEqual(json.loads(out.splitlines()[0])["file"], "<stdin>")

    def test_what_a_script_holds_does_not_reach_the_terminal(self):
        _, err = self.run_command("check", "-", stdin="main { x = \x1b[2J\x07\x9b 1; }\n", status=1)
        self.assertIn("    1 | main { x = ?[2J?", err)

    def test_json_lines_hold_together(self):
        (self.folder / "bad.ks").write_bytes(b'process: sa { }\nmain { x = "\xff\xfe" \xc2( 3; }\n')
        out, _ = self.run_command("check", "--messages=json", "bad.ks", status=1)
        error, hint, _ = (json.loads(line) for line in out.splitlines())
        self.assertEqual((error["id"], error["line"], error["column"]), ("unexpected-token", 2, 17))
        self.assertEqual(hint["rule"], "foreign-character")
        script = RED + 'main { system("echo one"); info("two"); spawn("sh -c \\"echo three\\""); }\n'
        out, err = self.run_command("run", "--messages=json", "-", stdin=script)
        self.assertEqual((json.loads(out)["line2"], err), ("two", "one\nthree\n"))

    def test_the_worst_outcome_of_several_files_is_the_status(self):
        self.write("a.ks", RED)
        self.write("b.ks", "main { }\n")
        _, err = self.run_command("check", "a.ks", "none.ks", "b.ks", status=2)
        self.assertEqual(err.splitlines()[:2], ["kestrel: error: none.ks: no such file",
                         "b.ks: error: Cannot locate process() function in script and/or library(s)"])
        self.run_command("check", "a.ks", "b.ks", "a.ks", status=1)

    def test_components_of_standard_input_lie_in_the_current_directory(self):
        self.write("part.ks", "helper { return 7; }\n")
        script = '@insert "part.ks"\nprocess: sa { }\nmain { info(helper()); }'
        self.assertEqual(self.run_command("run", "-", stdin=script)[0], "7\n")

    def test_standard_input_that_is_no_script(self):
        self.assertIn("which can be read once", self.run_command("check", "-", "-", status=2)[1])
        for bad, problem in (("/dev/zero", "larger than 64 MB"), (self.folder, "cannot be read")):
            stream = os.open(bad, os.O_RDONLY)
            process = self.start("run", "-", stdin=stream)
            os.close(stream)
            self.assertIn(problem, process.communicate(timeout=harness.TIME_LIMIT)[1])
            self.assertEqual(process.returncode, 2)
        self.run_command("run", "-", stdin="", status=1)
        self.write("-", RED)
        self.run_command("check", "./-")

    def test_an_expression_becomes_a_color(self):
        def color(code, *options):
            return json.loads(self.run_command("shade", "--expr", code, *options)[0])["sample"]["color"]
        self.assertEqual(color("0.25 + 0.5"), [0.75] * 3)
        self.assertEqual(color("P * 2", "--set", "oPos=0.1,0.2,0.3"), [0.2, 0.4, 0.6])
        self.assertEqual(color("<N.y, u + v, sa.mirror>", "--set", "wNorm=0,1,0", "--set", "mirror=0.5", "--set",
                               "oPos=1,2,3"), [1, 3, 0.5])
        self.assertEqual(color("frame + time / 100", "--frame", "3", "--time", "50"), [3.5] * 3)
        self.assertEqual(color("u", "--grid", "4x1"), [0.875] * 3)
        self.assertEqual(color("1\n+\n1"), [2] * 3)
        self.assertEqual(color('size(") (") + (1) // ('), [4] * 3)

    def test_what_a_script_says_of_lines_is_its_own(self):
        said = self.run_command("shade", "--expr", 'info("fine on line 20, wine 20")', status=1)
        self.assertIn("fine on line 20, wine 20", "".join(said))

    def test_an_expression_has_places_of_its_own(self):
        _, err = self.run_command("shade", "--expr", "1 + ) 2", status=1)
        self.assertTrue(err.startswith("<expr>:1:5: error: In process, line 1, found"), err)
        self.assertIn("    1 | 1 + ) 2\n", err)
        _, err = self.run_command("shade", "--expr", "1 +\n1 / 0", status=1)
        self.assertTrue(err.startswith("<expr>:2:"), err)
        for code, place in (("P * ", "1:5"), ("max(1", "1:6"), ("1 +\n", "2:1")):
            _, err = self.run_command("shade", "--expr", code, status=1)
            self.assertTrue(err.startswith(f"<expr>:{place}: error: the expression ends too early\n"), err)
        _, err = self.run_command("shade", "--expr", "1; x = 2", status=1)
        self.assertTrue(err.startswith("<expr>:1:2: error: In process, line 1, found ';'"), err)
        self.assertEqual(err.count("error:"), 1, err)

    def test_an_expression_that_gives_no_color_is_one_error(self):
        for code, kind in (('"abc"', "a text or an object"), ("sa", "a text or an object"), ("nil", "nothing"),
                           ('system("true") == 9 ? 1 : nil', "nothing")):
            _, err = self.run_command("shade", "--expr", code, "--grid", "2x2", status=1)
            self.assertEqual(err, f"kestrel: error: the expression gives {kind}; it must be a number or a Vector\n")
        _, err = self.run_command("shade", "--expr", "sa.oPos", status=1)
        self.assertEqual(err.count("error:"), 1, err)

    def test_expressions_that_are_refused(self):
        self.run_command("shade", "--expr", "1", self.write("a.ks", RED), status=2)
        for code in ("1)+(2", "1); x = (2", "1); } other { x = (2"):
            self.assertIn("not one expression", self.run_command("shade", "--expr", code, status=2)[1])
        self.assertIn("--expr is empty", self.run_command("shade", "--expr", " \n", status=2)[1])
        self.assertIn("FILE is required", self.run_command("shade", status=2)[1])

    def test_search_path_of_the_command_line_comes_before_that_of_the_environment(self):
        for folder, value in (("one", 1), ("two", 2), ("three", 3)):
            self.write(f"{folder}/part.ks", f"helper {{ return {value}; }}\n")
        self.write("three/lib.ks", "fromLib { return 4; }\n")
        script = self.write("main.ks", '@insert "part.ks"\nlibrary "lib.ks";\nprocess: sa { }\n'
                                       "both { info(helper(), fromLib()); }\nmain { both(); }\n"
                                       "create { both(); }\n")
        self.environment["KESTREL_PATH"] = f"{self.folder}/two::{self.folder}/three"
        for command in ("run", "shade"):
            self.assertEqual(self.run_command(command, script)[0].splitlines()[0], "24")
            self.assertEqual(self.run_command(command, script, "-I", "one", "-Ithree")[0].splitlines()[0], "14")
        self.run_command("check", script, "-I", "one")
        del self.environment["KESTREL_PATH"]
        self.run_command("check", script, "-I", "one", status=1)
        self.assertIn("none is no directory", self.run_command("check", script, "-I", "none", status=2)[1])
        (self.folder / "a:b").mkdir()
        self.run_command("check", script, "-I", "a:b", status=2)


class Parameters(Command):
    def test_a_parameter_takes_the_place_of_a_default(self):
        script = self.write("a.ks", DEFAULTS)
        self.assertEqual(self.run_command("run", script)[0], "0.3 <0,0,1> plain 0.6\n")
        out, _ = self.run_command("run", script, "--param", "radius=2", "--param", "tint=<1, 0.5, -1e-1>", "--param",
                                  "label=two words")
        self.assertEqual(out, "2 <1,0.5,-0.1> two words 0.6\n")
        self.assertEqual(self.run_command("run", script, "--param", 'label="3"')[0], "0.3 <0,0,1> 3 0.6\n")
        line = json.loads(self.run_command("shade", script, "--param", "radius=0.5", "--param", "tint=<.25,0,0>")[0])
        self.assertEqual((line["sample"]["luminous"], line["sample"]["color"][0]), (0.5, 0.25))

    def test_a_parameter_is_there_before_code_outside_functions_runs(self):
        script = self.write("a.ks", "extent = extent == nil ? 1 : extent;\nhalf = extent / 2;\nprocess: sa { }\n"
                                    "main { info(extent, \" \", half); }\n")
        self.assertEqual(self.run_command("run", script)[0], "1 0.5\n")
        self.assertEqual(self.run_command("run", script, "--param", "extent=5")[0], "5 2.5\n")

    def test_render_gives_it_to_the_scripts_that_have_it(self):
        script = self.write("a.ks", "glow = 0;\nflags { return COLOR; }\nprocess: sa { sa.color[1] = glow; "
                                    "sa.color[2] = glow; sa.color[3] = glow; }\n")
        def picture(*options):
            self.run_command("render", script, "-o", "p.png", "--size", "8x8", "--samples", "1", "--jobs", "2", *options)
            return (self.folder / "p.png").read_bytes()
        self.assertNotEqual(picture(), picture("--param", "glow=1"))

    def test_names_and_values_that_are_none(self):
        script = self.write("a.ks", DEFAULTS)
        for command in (["run"], ["shade"], ["render", "-o", "p.png"]):
            _, err = self.run_command(*command, script, "--param", "radious=1", status=2)
            self.assertIn("--param radious=1: the script has no global variable 'radious'. Did you mean radius?", err)
        for name in ("main", "PI", "color", "oPos", "sa"):
            self.run_command("run", script, "--param", f"{name}=1", status=2)
        for text in ("radius", "=1", "1a=2", "radius=nan", "radius=-inf", "radius=1e999", "tint=<1,nan,2>"):
            _, err = self.run_command("run", script, "--param", text, status=2)
            self.assertTrue(err.startswith(f"kestrel: error: --param: {text}: "), err)
        for text, problem in (("tint=<1,2>", "a Vector is <x,y,z>"), ("tint= <1,2,x>", "a Vector is <x,y,z>"),
                              ("label=", "the value is missing")):
            _, err = self.run_command("run", script, "--param", text, status=2)
            self.assertIn(f"--param: {text}: {problem}", err)
        self.assertEqual(self.run_command("run", script, "--param", 'label="<"', "--param", "radius=2")[0],
                         "2 <0,0,1> < 0.6\n")
        self.assertFalse((self.folder / "p.png").exists())

    def test_a_name_that_the_module_would_cut_is_refused(self):
        script = self.write("a\nb.ks", RED)
        for command in (["shade"], ["render", "-o", "p.png"], ["options"]):
            _, err = self.run_command(*command, script, status=2)
            self.assertIn("a script's name cannot contain a line break", err)


class Executors(Command):
    SCRIPT = """
process: sa { x = 0; for (i = 0; i < 200; ++i) x = x * 0.9 + sa.oPos[1]; sa.color[1] = x; }
main { x = 0; for (i = 0; i < 9; ++i) x += i; info(x); }
"""

    def bench(self, *words):
        return json.loads(self.run_command("bench", self.write("s.ks", self.SCRIPT), "--grid", "40x20", "--passes",
                                           "5", "--json", *words)[0])

    def test_all_shade_alike_and_bench_tells_the_one_that_did(self):
        results = {name: self.bench("--executor", name) for name in ("definition", "threaded", "native", "auto")}
        ran = {name: line["executor"] for name, line in results.items()}
        self.assertEqual((ran["definition"], ran["threaded"], ran["auto"]), ("definition", "threaded", ran["native"]))
        self.assertIn(ran["native"], ("native", "threaded"))  # as machine and build allow
        self.assertEqual(len({line["checksum"] for line in results.values()}), 1)
        self.assertGreater(results["definition"]["nsPerSample"], 2 * results["threaded"]["nsPerSample"])
        self.assertGreaterEqual(results["auto"]["slowestNsPerSample"], results["auto"]["nsPerSample"])
        for command in (["run"], ["shade"], ["render", "-o", "p.png", "--size", "8x8", "--samples", "1"]):
            self.run_command(*command, "s.ks", "--executor", "threaded")

    def test_bench_counts_the_samples_that_code_left_by_why(self):
        script = self.write("e.ks", """
process: sa
{
    t = 0;
    if (sa.sx == 3) t = "text";
    t = 0;
    sa.color[1] = sa.sy / (7.5 - sa.sx);
    if (sa.sx > 5 && sa.sy == 2) sa.color[2] = size("ab");
}
""")
        for executor in ("threaded", "native"):
            out, _ = self.run_command("bench", script, "--grid", "8x4", "--passes", "1", "--json", "--executor", executor)
            shading = json.loads(out)["shading"]
            self.assertEqual((shading["byCode"], shading["left"], shading["byInterpreter"]), (51, 12, 1))
            self.assertEqual(shading["exits"], [{"line": 5, "reason": "a text", "samples": 8},
                                                {"line": 8, "reason": "a text", "samples": 4}])

    def test_the_option_goes_before_the_environment(self):
        self.environment["KESTREL_EXECUTOR"] = "threaded"
        self.assertEqual(self.bench()["executor"], "threaded")
        self.assertEqual(self.bench("--executor=definition")["executor"], "definition")
        _, err = self.run_command("bench", "s.ks", "--executor", "fastest", status=2)
        self.assertIn("--executor", err)
        self.assertIn("definition", err)


class Output(Command):
    def test_a_last_line_says_what_was_written(self):
        script = self.write("a.ks", RED)
        size = r"\d+(\.\d)? (bytes|kB)"
        _, err = self.run_command("render", script, "-o", "p.png", "--size", "8x4", "--samples", "1")
        self.assertRegex(err.splitlines()[-1], rf"^wrote p\.png: 8x4 pixels, {size}, in \d+\.\d\d s$")
        _, err = self.run_command("render", script, "-o", "f%d.png", "--frames", "1-3", "--size", "4x4", "--samples", "1")
        self.assertRegex(err.splitlines()[-1], rf"^wrote 3 pictures, f1\.png to f3\.png: 4x4 pixels, {size}, in ")
        _, err = self.run_command("list", script, "-o", "a.txt")
        self.assertRegex(err, rf"^wrote a\.txt: {(self.folder / 'a.txt').stat().st_size} bytes, in ")
        self.assertEqual(self.run_command("list", script)[1], "")
        out, err = self.run_command("shade", script, "--grid", "3x2", "-o", "g.png", "--messages=json")
        written, sample = (json.loads(line) for line in out.splitlines())
        self.assertEqual(err, "")
        self.assertGreater(written.pop("seconds"), 0)
        self.assertEqual(written, {"kind": "output", "file": str(self.folder / "g.png"), "width": 3, "height": 2,
                                   "bytes": (self.folder / "g.png").stat().st_size})
        self.assertIn("sample", sample)

    def test_what_cannot_be_written_is_refused_before_the_script_runs(self):
        script = self.write("a.ks", 'create { info("ran"); }\n' + RED)
        (self.folder / "dir").mkdir()
        for command in (["render"], ["shade", "--grid", "2x2"], ["list"]):
            for name in ("dir", "none/p.png", "a.ks", "p.gif" if command != ["list"] else "dir/"):
                with self.subTest(command=command, name=name):
                    out, err = self.run_command(*command, script, "-o", name, status=2)
                    self.assertEqual(out, "")
                    self.assertTrue(err.startswith(f"kestrel: error: {name}: "), err)

    def test_a_listing_does_not_take_the_place_of_an_insert(self):
        self.write("part.ks", "part { }\n")
        self.write("main.ks", '#insert "part.ks"\nprocess: sa { }\n')
        self.run_command("list", "main.ks", "-o", "part.ks", status=2)
        self.assertEqual((self.folder / "part.ks").read_text(), "part { }\n")

    def test_a_pipe_that_nobody_reads_is_refused_and_one_that_somebody_reads_is_written(self):
        self.write("red.ks", RED)
        os.mkfifo(self.folder / "pipe")
        words = ["shade", "red.ks", "--grid", "2x2", "-o", "pipe"]
        self.assertIn("is a pipe that nobody reads", self.run_command(*words, status=2)[1])
        with open(os.open(self.folder / "pipe", os.O_RDONLY | os.O_NONBLOCK), "rb") as pipe:
            self.run_command(*words)
            self.assertTrue(pipe.read().startswith(b"\x89PNG"))

    def test_a_name_may_be_as_long_as_the_system_allows(self):
        self.write("red.ks", RED)
        self.run_command("shade", "red.ks", "--grid", "2x2", "-o", "x" * 251 + ".png")
        self.assertEqual(len(list(self.folder.glob("x*.png"))), 1)

    def test_settings_of_standard_input_are_not_kept(self):
        self.assertIn("- has none", self.run_command("options", "-", "--state", "s.txt", stdin=RED, status=2)[1])
        self.assertFalse((self.folder / "s.txt").exists())

    def test_a_full_disk_and_a_closed_pipe_are_errors(self):
        script = self.write("a.ks", RED)
        _, err = self.run_command("render", script, "-o", "/dev/full", "--size", "4x4", "--samples", "1", status=2)
        self.assertIn("kestrel: error: /dev/full: cannot be written: No space left on device", err)
        with open("/dev/full", "w", encoding="ascii") as full:
            for words in (["--help"], ["--version"], ["help"], ["check", "--help"], ["shade", script], ["bench", script]):
                process = self.start(*words, stdout=full)
                _, err = process.communicate(timeout=harness.TIME_LIMIT)
                self.assertEqual((process.returncode, err), (2, "kestrel: error: standard output: cannot be written\n"), words)
        process = self.start("list", script)
        process.stdout.close()
        process.wait(timeout=harness.TIME_LIMIT)
        self.assertIn(process.returncode, (2, -signal.SIGPIPE))
        process.stderr.close()


class Usage(Command):
    def test_a_command_line_that_cannot_be_understood(self):
        for line, problem, command in (
                ("", "a command is missing", ""),
                ("paint x.ks", "there is no command 'paint'", ""),
                ("rnder main.ks", "there is no command 'rnder'. Did you mean render?", ""),
                ("check main.ks --photograph=3", "there is no option '--photograph'", "check "),
                ("run main.ks --timout 3", "there is no option '--timout'. Did you mean --timeout?", "run "),
                ("--timeout=2 check main.ks",
                 "the option '--timeout' stands behind the command: kestrel check --timeout=2", "check "),
                ("list a.ks b.ks", "'b.ks' is more than list takes", "list "),
                ("check --messages=xml x.ks", "--messages: xml not in {people,json}", "check "),
                ("run --timeout soon x.ks", '--timeout: "soon" is not a number of seconds', "run "),
                ("shade main.ks --time nan", '--time: "nan" is not a number of seconds', "shade "),
                ("render main.ks -o p.png --exposure inf", '--exposure: "inf" is not a number of stops', "render ")):
            said = self.run_command(*line.split(), status=2)
            self.assertEqual(said, ("", f"kestrel: error: {problem}\n`kestrel {command}--help` tells what there is.\n"))

    def test_what_is_not_there(self):
        self.write("main.ks", RED)
        for line, problem in (("check .", ".: is a directory, not a script"),
                              ("list main.ks -o no/such/place.txt", "no/such/place.txt: there is no directory no/such"),
                              ("help squrt", "Nothing is called 'squrt'. Did you mean: sqrt?"),
                              ("help rendr", "Nothing is called 'rendr'. Did you mean: render?"),
                              ("help xyzzy", "Nothing is called 'xyzzy'. `kestrel help` shows what there is.")):
            self.assertEqual(self.run_command(*line.split(), status=2), ("", f"kestrel: error: {problem}\n"))
        for line, problem in (("check a.ks --timout=3 --messages json", "there is no option '--timout'. Did you mean --timeout?"),
                              ("run none.ks --messages=json", "none.ks: no such file"),
                              ("help --messages=json strl", "Nothing is called 'strl'. Did you mean: strleft, strlower?")):
            out, err = self.run_command(*line.split(), status=2)
            self.assertEqual((json.loads(out), err), ({"kind": "error", "line1": problem, "line2": None}, ""))

    def test_help_and_version(self):
        self.assertEqual(self.run_command("--version"), ("kestrel 1.3\n", ""))
        overview = self.run_command("help")[0]
        for shown in ("  pragmas     Directives\n", "numbers, vectors, light", "  render    Renders a scene", "kestrel help frac"):
            self.assertIn(shown, overview)
        vmag = ("vmag(v)\nvmag(x, y, z)\n    Length of a vector.\n    Example: vmag(<3, 4, 0>)   gives   5\n"
                "    Built-in function: Vectors and points\n")
        self.assertEqual(self.run_command("help", "vmag")[0], vmag)
        for name, shown in (("BoneInfo", "    Not available yet.\n"), ("pragmas", "\n  strict        Variables must"),
                            ("select", "holds.\n    Word of the language\n\nselect(x, y, a, b)\n    a when")):
            self.assertIn(shown, self.run_command("help", name)[0])
        self.assertEqual(json.loads(self.run_command("help", "--messages=json", "frac")[0]),
                         {"topic": "functions", "name": "frac", "forms": ["frac(x)"], "example": "frac(3.75)",
                          "result": "0.75", "available": True,
                          "description": "What lies behind the decimal point; of a Vector by component."})

    def test_what_a_script_lacks(self):
        self.assertIn("OP_ENDFUNC", self.run_command("list", "-", stdin="main { ::x = ~y; }")[0])
        self.assertIn("hint: the script has no function \"main\"; only its code outside functions has run [no-main]\n",
                      self.run_command("run", "-", stdin=RED)[1])


class Ending(Command):
    def test_what_would_be_read_or_run_for_ever(self):
        self.write("loop.ks", 'library "loop.ks";\n')
        self.write("open.ks", "part { }\n/*\n")
        limit = "time limit of 0.2 s reached, run ended"
        for source, problem, place in (
                ('library "loop.ks";', "Library 'loop.ks' brings itself in again", ("loop.ks", 1, 9)),
                ('@insert "open.ks"', "Comment opened here is never closed", ("open.ks", 2, 1)),
                ('@insert "/dev/zero"', "Cannot locate insert file '\\dev\\zero'", ("main.ks", 1, 1)),
                ("main { while (1) { } }", "line 1, " + limit, ("main.ks", 1, 20)),
                ('main { sleep(100000); info("late"); }', "line 1, " + limit, ("main.ks", 1, 8)),
                ("f {\n while (1) { } }\nx = f();\nmain { info(\"never\"); }", "line 2, " + limit, ("main.ks", 2, 14))):
            script = self.write("main.ks", source + "\nprocess: sa { }\n")
            line, = self.run_command("run", script, "--timeout", "0.2", "--messages=json", status=1)[0].splitlines()
            said = json.loads(line)
            self.assertEqual((said["line2"] or said["line1"], (pathlib.Path(said["file"]).name, said["line"], said["column"])),
                             (problem, place))

    WAITS = 'process: sa { }\nmain { info("started"); system("sleep 600 & echo $! > pid; wait"); }\n'

    def test_every_polite_signal_ends_a_run_and_the_program_it_waits_for(self):
        script = self.write("a.ks", self.WAITS)
        for number, word in ((signal.SIGINT, "interrupted"), (signal.SIGTERM, "terminated"),
                             (signal.SIGHUP, "terminal gone")):
            with self.subTest(word):
                process = self.start("run", script)
                self.assertEqual(process.stdout.readline(), "started\n")
                while not (self.folder / "pid").exists() or not (self.folder / "pid").read_text():
                    time.sleep(0.01)
                process.send_signal(number)
                _, err = process.communicate(timeout=harness.TIME_LIMIT)
                self.assertEqual(process.returncode, 1, err)
                self.assertIn(word + ", run ended", err)
                started = int((self.folder / "pid").read_text())
                while pathlib.Path(f"/proc/{started}/stat").exists() and " Z " not in pathlib.Path(
                        f"/proc/{started}/stat").read_text():
                    time.sleep(0.01)
                (self.folder / "pid").unlink()

    def test_a_hang_up_that_is_ignored_stays_ignored(self):
        script = self.write("a.ks", 'process: sa { }\nmain { info("started"); sleep(300); info("done"); }\n')
        process = self.start("run", script,
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.assertEqual(process.stdout.readline(), "started\n")
        process.send_signal(signal.SIGHUP)
        out, err = process.communicate(timeout=harness.TIME_LIMIT)
        self.assertEqual((process.returncode, out), (0, "done\n"), err)

    def test_a_signal_ends_the_wait_for_standard_input(self):
        process = self.start("check", "-", stdin=subprocess.PIPE)
        time.sleep(0.5)
        process.terminate()
        self.assertEqual(process.wait(harness.TIME_LIMIT), -signal.SIGTERM)
        process.communicate()

    def test_names_are_compared_with_so_many_others_only(self):
        stem = "a_name_of_quite_some_length_that_nobody_would_like_to_type_"
        names = "".join(f"{stem}{i} = 1;\n" for i in range(20000))
        wrong = "".join(f"x = {stem}y{i};\n" for i in range(60))
        self.write("names.ks", names + "process: sa {\n" + wrong + "}\n")
        out, err = self.run_command("check", "names.ks", "--timeout", "40")
        self.assertIn("nothing ever gives it a value", out + err)

    def test_a_signal_leaves_no_half_made_picture(self):
        script = self.write("a.ks", 'init { info("started"); }\nprocess: sa { i = 0; while (1) { i = i + 1; } }\n')
        process = self.start("render", script, "-o", "p.png", "--jobs", "2")
        self.assertEqual(process.stdout.readline(), "started\n")
        process.send_signal(signal.SIGTERM)
        _, err = process.communicate(timeout=harness.TIME_LIMIT)
        self.assertEqual(process.returncode, 1, err)
        self.assertIn("terminated", err)
        self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ["a.ks", "store"])

    def test_the_time_limit_reaches_the_compiler(self):
        script = self.write("a.ks", "process: sa {\n" + "x = 1 + 2;\n" * 400000 + "}\n")
        for command in ("check", "list", "run", "shade"):
            with self.subTest(command):
                out, err = self.run_command(command, script, "--timeout", "0.05", status=1)
                self.assertEqual(out, "")
                self.assertIn("time limit of 0.05 s reached", err)


if __name__ == "__main__":
    harness.main(__doc__)
