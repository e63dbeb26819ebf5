"""Drives `kestrel shade`, `render` and `bench` as a user does and looks at what they print and paint."""

import json
import pathlib
import resource
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402

FIXED = """
flags { return("COLOR", "LUMINOUS", "DIFFUSE", "SPECULAR"); }
process: sa
{
    sa.color[1] = 0.2; sa.color[2] = 0.5; sa.color[3] = 0.8;
    sa.luminous = 1; sa.diffuse = 0; sa.specular = 0;
}
"""
FIXED_BYTES = (124, 188, 231)  # the same in sRGB
ENDLESS = "process: sa\n{\n    i = 0;\n    while (1) { i = i + 1; }\n}\n"


def pixels(png):
    """Width, height and a function (x, y) -> (r, g, b) of a picture."""
    width, height, rows = harness.picture(png)
    return width, height, lambda x, y: tuple(rows[y][3 * x:3 * x + 3])


class Command(harness.CommandTest):
    def run_command(self, command, script, *options, **expected):
        self.write("script.ks", script)
        return self.run_kestrel(command, "script.ks", *options, **expected)

    def shade(self, script, *options):
        out, err = self.run_command("shade", script, *options)
        return json.loads(out.decode().splitlines()[-1])

    def render(self, script, *options):
        out, err = self.run_command("render", script, "-o", "-", "--size", "64x64", "--samples", "1", "--shape",
                                    "sphere", "--view", "srgb", *options)
        return pixels(out)


class Shade(Command):
    def test_line_holds_every_member_in_order_and_what_the_script_changed(self):
        result = self.shade(FIXED, "--set", "mirror=0.25", "--set", "gNorm=0,1,0")
        self.assertEqual(list(result), ["sample", "flags", "describe"])
        self.assertEqual(list(result["sample"]),
                         "sx sy oPos wPos gNorm spotSize raySource rayLength cosine oXfrm wXfrm objID polNum wNorm color "
                         "luminous diffuse specular mirror transparency eta roughness".split())
        self.assertEqual(result["sample"]["color"], [0.2, 0.5, 0.8])
        self.assertEqual(result["sample"]["mirror"], 0.25)
        self.assertEqual(result["sample"]["gNorm"], [0, 1, 0])
        self.assertEqual(result["flags"], 2 + 4 + 8 + 16)
        self.assertEqual(result["describe"], "Kestrel/PT - SCRIPT.KS")

    def test_callbacks_run_in_order_and_messages_come_before_the_line(self):
        script = """
            create { info("create"); }   init { info("init"); }   newtime: f, t { info(f, " ", t); }
            flags { info("flags"); return COLOR; }   process: sa { info("process ", sa.sx); }
            cleanup { info("cleanup"); }   destroy { info("destroy"); }"""
        out, _ = self.run_command("shade", script, "--frame", "6", "--time", "0.5", "--set", "sx=9",
                                  "--messages=json")
        lines = [json.loads(line) for line in out.decode().splitlines()]
        self.assertEqual([line["line2"] for line in lines[:-1]],
                         ["create", "init", "6 0.5", "flags", "process 9", "cleanup", "destroy"])
        self.assertEqual(lines[-1]["flags"], 2)

    def test_messages_say_which_one_they_are(self):
        def ids(script):
            out, _ = self.run_command("shade", script, "--messages=json", status=1)
            lines = [json.loads(line) for line in out.decode().splitlines()]
            return [line.get("id") or "hint " + line["rule"] for line in lines if "kind" in line]
        self.assertEqual(ids("init { warn('w'); x = hex(); } process: sa { x = 1 / 0; }"),
                         ["user-warning", "argument-count", "division-by-zero", "hint operands"])
        # Those of the compile come once, however often the script is shaded.
        self.assertEqual(ids("process: sa { var c = <1, 2, 3>; sa.color = c; }")[:2],
                         ["hint whole-member-assigned", "sample-index-range"])

    def test_a_path_may_be_long_and_a_message_hold_a_zero_byte(self):
        for _ in range(4):
            self.folder /= 100 * "f"
        self.folder.mkdir(parents=True)
        self.assertEqual(self.shade(FIXED)["describe"], "Kestrel/PT - SCRIPT.KS")
        _, err = self.run_command("shade", "process: sa { x = (; }\0", status=1)
        self.assertTrue(err.startswith("script.ks:1:20: error: "), err)

    def test_what_the_scripts_programs_write_stays_out_of_the_data(self):
        script = FIXED + "create { system(\"echo one\"); (code, text) = systemex(\"echo two\"); info(text); }"
        for command in ("shade", "bench"):
            options = ("--grid", "2x2", "--passes", "1", "--json") if command == "bench" else ()
            out, err = self.run_command(command, script, *options)
            first, data = out.decode().splitlines()
            self.assertEqual((first, err), ("two", "one\n"))
            json.loads(data)
        self.render(script)

    def test_messages_of_a_run_carry_their_place(self):
        (self.folder / "part.ks").write_text("part {\n x = 1 / 0; }\n")
        _, err = self.run_command("shade", '@insert "part.ks"\nprocess: sa { part(); }', status=1)
        self.assertIn("part.ks:2:8: error: Line 3, illegal division by zero detected", err)
        self.assertIn("brought in by script.ks:1", err)

    def test_grid_covers_the_unit_square_and_becomes_a_picture(self):
        script = "process: sa { sa.color[1] = sa.oPos[1]; sa.color[2] = sa.wPos[2]; sa.color[3] = sa.sx == 3; }"
        last = self.shade(script, "--grid", "4x2", "-o", "grid.png")["sample"]
        self.assertEqual((last["sx"], last["sy"], last["oPos"]), (3, 1, [0.875, 0.75, 0]))
        width, height, at = pixels((self.folder / "grid.png").read_bytes())
        self.assertEqual((width, height), (4, 2))
        self.assertEqual(at(0, 0), (99, 137, 0))  # 0.125 and 0.25 in sRGB
        self.assertEqual(at(3, 1)[2], 255)

    def test_rays_meet_the_scene(self):
        ray = self.shade("process: sa { (sa.luminous) = raytrace(<0,3,0>, <0,-2,0>); }")
        self.assertAlmostEqual(ray["sample"]["luminous"], 1.0, 12)

    def test_failures_and_their_status(self):
        aborts = "process: sa { var a[3]; sa.luminous = 1; x = a[9]; sa.luminous = 2; }"
        cases = [
            ("compile error", "process: sa { x = ; }", [], 1, False),
            ("no process", "init { }", [], 1, False),
            ("empty", "", [], 1, False),
            ("aborted run", aborts, [], 1, True),
            ("aborted at the end", "process: sa { } destroy { x = 1 / 0; }", [], 1, True),
            ("comment never closed", "process: sa { }\n/* open\n", [], 1, False),
            ("endless", ENDLESS, ["--timeout", "0.3"], 1, False),
            ("bad preset", FIXED, ["--set", "color=1"], 2, False),
            ("an error that ends nothing", "process: sa { sa.luminous = 1 / 0; }", [], 1, True),
            ("a warning", "process: sa { warn(\"w\"); }", [], 0, True),
            ("picture without grid", FIXED, ["-o", "x.png"], 2, False),
            ("missing choice", FIXED, ["--choose", "nowhere.ks"], 2, False),
            ("two things on stdout", FIXED, ["--grid", "2x2", "-o", "-", "--messages=json"], 2, False),
        ]
        for name, script, options, expected, has_line in cases:
            with self.subTest(name):
                out, err = self.run_command("shade", script, *options, status=expected)
                self.assertEqual(b'"sample"' in out, has_line)
                self.assertTrue(out + err.strip().encode())
        _, err = self.run_command("shade", ENDLESS, "--timeout", "0.3", status=1)
        self.assertIn("line 4", err)
        # After an aborted run the host goes on, though nothing runs any more.
        out, _ = self.run_command("shade", aborts, "--grid", "3x2", status=1)
        last = json.loads(out)["sample"]
        self.assertEqual((last["sx"], last["sy"], last["luminous"]), (2, 1, 0))


class Render(Command):
    def test_luminous_colour_arrives_exactly_and_only_on_the_sphere(self):
        width, height, at = self.render(FIXED)
        self.assertEqual((width, height), (64, 64))
        for place in ((32, 32), (20, 25), (40, 40)):
            self.assertEqual(at(*place), FIXED_BYTES)
        self.assertNotEqual(at(2, 60), FIXED_BYTES)

    def test_bent_normals_and_frames_change_the_sphere_but_not_the_ground(self):
        bent = "newtime: f, t { phase = f; } process: sa { sa.wNorm[1] += sin(10 * sa.oPos[1] + phase); }"
        _, _, plain = self.render("process: sa { }")
        _, _, bump = self.render("phase = 0;\n" + bent)
        _, _, later = self.render("phase = 0;\n" + bent, "--frame", "2")
        area = [(x, y) for x in range(20, 44) for y in range(20, 44)]
        self.assertGreater(sum(plain(*p) != bump(*p) for p in area), 300)
        self.assertGreater(sum(later(*p) != bump(*p) for p in area), 300)
        self.assertEqual(plain(2, 60), bump(2, 60))

    def test_a_failed_script_leaves_no_file_and_the_old_one_alone(self):
        for script in (ENDLESS, "process: sa { var a[2]; x = a[5]; }", "process: sa {"):
            picture = self.folder / "picture.png"
            picture.write_text("old")
            self.run_command("render", script, "-o", "picture.png", "--timeout", "0.3", status=1)
            self.assertEqual(sorted(p.name for p in self.folder.iterdir()), ["picture.png", "script.ks"])
            self.assertEqual(picture.read_text(), "old")

    def test_memory_that_runs_out_is_an_error_of_the_command(self):
        if b"__asan_init" in pathlib.Path(self.kestrel).read_bytes():
            self.skipTest("a sanitizer needs all the addresses there are")
        (self.folder / "script.ks").write_text(FIXED)

        def little_memory():
            resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30))
        for options, line in ((["-o", "p.png"], b"kestrel: error: memory exhausted\n"),
                              (["-o", "p.png", "--messages=json"],
                               b'{"kind":"error","line1":"memory exhausted","line2":null}\n')):
            done = subprocess.run([self.kestrel, "shade", "script.ks", "--grid", "8192x8192", *options],
                                  cwd=self.folder, capture_output=True, preexec_fn=little_memory,
                                  timeout=harness.TIME_LIMIT)
            self.assertEqual((done.returncode, done.stdout + done.stderr), (1, line))

    def test_unusable_sizes(self):
        for options in (["-o", "p.png", "--size", "0x3"], ["-o", "p.png", "--size", "3"], ["-o", "p.png", "--samples", "0"], []):
            self.run_command("render", FIXED, "--size", "4x4", *options, status=2)


class Bench(Command):
    def test_checksum_repeats_and_follows_the_outputs(self):
        def checksum(script):
            out, err = self.run_command("bench", script, "--grid", "8x4", "--passes", "2", "--json")
            result = json.loads(out)
            self.assertGreater(result["nsPerSample"], 0)
            self.assertGreater(result["loadMs"], 0)
            return result["checksum"]

        first = checksum(FIXED)
        self.assertEqual(first, checksum(FIXED))
        self.assertNotEqual(first, checksum(FIXED.replace("0.8", "0.7")))
        self.assertEqual(self.run_command("bench", ENDLESS, "--grid", "2x2", "--timeout", "0.3", status=1)[0], b"")


if __name__ == "__main__":
    harness.main(__doc__)
