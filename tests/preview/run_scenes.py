"""Drives `kestrel render` with scenes, frames and workers, and `kestrel options` with panels and settings."""

import json
import pathlib
import signal
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import harness  # noqa: E402

SMALL = ("--size", "48x32", "--samples", "2")

SCENE = {
    "version": 1,
    "meshes": [
        {"name": "Box", "shape": "cube", "position": [0, 1, 0], "surface": "Paint"},
        {"name": "Floor", "shape": "plane", "scale": [8, 8, 8], "surface": "Floor"},
    ],
    "lights": [{"name": "Lamp", "type": "point", "position": [-3, 5, -4]}],
    "cameras": [{"name": "Eye", "position": [0, 2, -6], "target": "Box"}],
    "surfaces": {"Paint": {"script": "paint.ks"}, "Floor": {}},
}
PAINT = """
red = 0.2;
flags { return("COLOR", "LUMINOUS", "DIFFUSE", "SPECULAR"); }
newtime: frame, time { red = frame / 10; }
process: sa { sa.color[1] = red; sa.color[2] = 0.5; sa.color[3] = 0.8; sa.luminous = 1; sa.diffuse = 0; sa.specular = 0; }
"""
OPTIONS = """
rings = 3;
create { rings = 3; }
options {
    reqbegin("Rings");
    c = ctlnumber("Number", rings);
    if (reqpost()) rings = getvalue(c);
    reqend();
}
save: mode, io { if (mode == 1) io.writeln(rings); else io.writeNumber(rings); }
load: mode, io {
    if (mode == 1) { t = io.read(); if (!io.eof()) rings = t.asNum(); }
    else { n = io.readNumber(); if (!io.eof()) rings = n; }
}
process: sa { sa.luminous = rings; sa.color[1] = rings / 10; sa.diffuse = 0; }
"""


class Command(harness.CommandTest):
    def write(self, **files):
        for name, content in files.items():
            super().write(name.replace("_", "."), content)

    def picture(self, *arguments):
        out, err = self.run_kestrel("render", *arguments, "-o", "-", "--view", "srgb")
        return harness.picture(out)

    def objects(self, *arguments, **options):
        out, err = self.run_kestrel(*arguments, "--messages=json", **options)
        return [json.loads(line) for line in out.decode().splitlines()], err

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())


class Scenes(Command):
    def setUp(self):
        super().setUp()
        self.write(scene_json=SCENE, paint_ks=PAINT)

    def test_scripts_shade_the_surfaces_that_the_scene_or_the_command_names(self):
        def middle(*options):
            _, _, rows = self.picture("scene.json", *SMALL, "--frame", "4", *options)
            return tuple(rows[16][72:75])

        self.assertEqual(middle(), (170, 188, 231))  # 0.4, 0.5, 0.8 in sRGB
        self.write(other_ks=PAINT.replace("red = frame / 10", "red = 0.9"))
        self.assertEqual(middle("--surface", "Paint=other.ks"), (243, 188, 231))
        self.assertNotEqual(middle("--surface", "Floor=other.ks"), (243, 188, 231))

    def test_what_is_wrong_with_a_scene_is_told_and_nothing_is_written(self):
        for bad, told in ((None, "bad.json"), ({**SCENE, "ligths": []}, "bad.json"),
                          ({**SCENE, "meshes": [{"name": "M", "file": "nowhere.obj"}]}, "nowhere.obj"),
                          ({**SCENE, "surfaces": {"Paint": {"script": "gone.ks"}, "Floor": {}}}, "gone.ks")):
            with self.subTest(told):
                if bad is not None:
                    self.write(bad_json=bad)
                _, err = self.run_kestrel("render", "bad.json", "-o", "p.png", *SMALL, status=2)
                self.assertIn(told, err)
                self.assertFalse((self.folder / "p.png").exists())
        for options in (["--surface", "Nothing=paint.ks"], ["--surface", "Paint"], ["--region", "40,0,9,9"],
                        ["--frames", "5-1"], ["--frames", "1-3"], ["--pixel", "48,0"]):
            self.run_kestrel("render", "scene.json", "-o", "p.png", *SMALL, *options, status=2)
        for output in ("paint.ks", "scene.json", "%d%d.png"):
            self.run_kestrel("render", "scene.json", "-o", output, *SMALL, status=2)
        self.assertEqual((self.folder / "paint.ks").read_text(), PAINT)
        self.run_kestrel("render", "paint.ks", status=2)
        self.run_kestrel("render", "paint.ks", "-o", "p.png", "--shape", "teapot", status=2)

    def test_a_zero_size_light_and_a_flat_mesh_still_make_a_picture(self):
        scene = json.loads(json.dumps(SCENE))
        scene["lights"][0]["radius"] = 0
        scene["meshes"][0]["scale"] = [1, 0, 1]
        self.write(scene_json=scene)
        self.picture("scene.json", *SMALL)

    def test_shipped_scenes_render_with_their_scripts(self):
        for name in ("still_life.json", "hero.json", "tower.gltf"):
            with self.subTest(name):
                objects, err = self.objects("render", str(harness.EXAMPLES / "scenes" / name), "-o", "p.png", *SMALL)
                self.assertGreater(objects[-1]["scriptRuns"], 100)

    def test_a_script_finds_light_camera_and_object_by_name(self):
        script = """process: sa {
            sa.luminous = 1; sa.diffuse = 0;
            l = getfirstitem("Lamp"); p = l.getWorldPosition(0); sa.color[1] = p.x == -3;
            c = getfirstitem(CAMERA); sa.color[2] = c.name == "Eye";
            o = sa.objID; sa.color[3] = o.name == "Box";
        }"""
        self.write(paint_ks=script)
        _, _, rows = self.picture("scene.json", *SMALL)
        self.assertEqual(tuple(rows[16][72:75]), (255, 255, 255))
        self.write(seen_ks="process: sa { s = getfirstitem(SCENE); sa.luminous = s.totalpolygons; o = sa.objID; }")
        out, _ = self.run_kestrel("shade", "seen.ks", "--scene", "scene.json")
        self.assertEqual(json.loads(out)["sample"]["luminous"], 7)

    def test_used_items_are_told_unless_that_would_never_end(self):
        def shade(names, scene, status=0):
            self.write(used_ks=f"create {{ effectedby({names}); }} process: sa {{ }}")
            out, err = self.run_kestrel("shade", "used.ks", "--scene", scene, "--used-items", status=status)
            return json.loads(out.decode().splitlines()[-1]).get("usedItems", "none"), err

        self.assertEqual(shade('"Lamp", "Camera", "Box", "Nobody"', "scene.json")[0], ["Box", "Lamp", "Eye"])
        tower = str(harness.EXAMPLES / "scenes" / "tower.gltf")
        self.assertEqual(shade('"Tower"', tower)[0], ["Tower"])
        items, err = shade('"Sun", "Joint 1"', tower, status=1)
        self.assertEqual(items, "none")
        self.assertIn('neither the object "Tower" nor its bone "Joint 2"', err)


class Frames(Command):
    def setUp(self):
        super().setUp()
        self.write(scene_json=SCENE, paint_ks=PAINT)

    def test_each_frame_has_its_time_its_file_and_its_object(self):
        objects, err = self.objects("render", "scene.json", "--frames", "2-6:2", "-o", "f.%03d.png", "--view",
                                    "srgb", *SMALL)
        frames = [(o["frame"], o["file"], o["result"]) for o in objects if o["kind"] == "frame"]
        self.assertEqual(frames, [(f, f"f.00{f}.png", "written") for f in (2, 4, 6)])
        for frame in (2, 4, 6):
            _, _, rows = harness.picture((self.folder / f"f.00{frame}.png").read_bytes())
            self.assertEqual(rows[16][72], {2: 124, 4: 170, 6: 203}[frame])
        before = (self.folder / "f.004.png").stat().st_mtime_ns
        (self.folder / "f.006.png").unlink()
        objects, _ = self.objects("render", "scene.json", "--frames", "2-6:2", "-o", "f.%03d.png", "--skip-existing",
                                     *SMALL)
        self.assertEqual([o["result"] for o in objects if o["kind"] == "frame"], ["skipped", "skipped", "written"])
        self.assertEqual((self.folder / "f.004.png").stat().st_mtime_ns, before)

    def test_workers_make_the_same_bytes_and_a_region_is_a_part_of_the_picture(self):
        def rendered(*options):
            out, err = self.run_kestrel("render", "scene.json", "-o", "-", "--size", "80x70", "--samples", "5",
                                        *options)
            return out

        one = rendered("--jobs", "1")
        for jobs in ("2", "3"):
            self.assertEqual(one, rendered("--jobs", jobs))
        _, _, rows = harness.picture(one)
        width, height, part = harness.picture(rendered("--region", "30,20,25,31"))
        self.assertEqual((width, height), (25, 31))
        self.assertEqual(part, [row[90:165] for row in rows[20:51]])

    def test_messages_and_failures_of_workers_arrive(self):
        self.write(paint_ks='n = 0; process: sa { if (sa.sx == 24 && sa.sy == 16) { info("bytes ", "\\x07"); x = 1 / 0; } }')
        out, err = self.run_kestrel("render", "scene.json", "-o", "p.png", *SMALL, "--jobs", "2", status=1)
        self.assertIn(b"bytes", out)
        self.assertIn("paint.ks:1:", err)
        self.write(paint_ks="process: sa { var a[2]; x = a[5]; }")
        _, err = self.run_kestrel("render", "scene.json", "-o", "q.png", *SMALL, "--jobs", "2", status=1)
        self.assertIn("paint.ks:1:", err)
        self.assertFalse((self.folder / "q.png").exists())

    def test_a_crashed_worker_ends_the_frame_with_its_tile(self):
        self.write(paint_ks='process: sa { if (sa.sx == 24) system("kill -KILL $PPID"); }')
        _, err = self.run_kestrel("render", "scene.json", "-o", "p.png", *SMALL, "--jobs", "2", status=1)
        self.assertRegex(err, r"a worker was ended by signal 9 at pixels \d+,\d+ to \d+,\d+")
        self.assertFalse((self.folder / "p.png").exists())

    def test_interrupt_keeps_what_is_there_only_when_asked(self):
        slow = "process: sa { x = 0; for i = 1 to 30 do { x = x + i; } sa.luminous = 1; }"
        self.write(paint_ks=slow)
        for options, expected in (([], False), (["--keep-partial"], True)):
            name = "kept.png" if expected else "none.png"
            process = self.start("render", "scene.json", "-o", name, "--size", "16x16", "--samples", "60000", *options)
            time.sleep(3)
            process.send_signal(signal.SIGINT)
            _, err = process.communicate(timeout=harness.TIME_LIMIT)
            self.assertEqual(process.returncode, 1, err)
            self.assertIn("interrupted", err)
            self.assertEqual((self.folder / name).exists(), expected, err)
        self.assertEqual(harness.picture((self.folder / "kept.png").read_bytes())[:2], (16, 16))
        self.assertFalse([n for n in self.names() if n.endswith(".tmp")])

    def test_openexr_holds_the_light_itself(self):
        for options in ([], ["--float"]):
            self.run_kestrel("render", "scene.json", "-o", "p.exr", *SMALL, *options, "--exposure", "3")
            data = (self.folder / "p.exr").read_bytes()
            self.assertEqual(data[:4], b"\x76\x2f\x31\x01")
        self.run_kestrel("render", "scene.json", "-o", "/dev/full", *SMALL, status=2)

    def test_pixel_and_bad_number_probes(self):
        objects, err = self.objects("render", "scene.json", "--pixel", "24,16", *SMALL, "--frame", "3")
        sample = objects[0]
        self.assertEqual((sample["kind"], sample["surface"]), ("sample", "Paint"))
        self.assertEqual(sample["after"]["color"], [0.3, 0.5, 0.8])
        self.assertNotEqual(sample["before"]["color"], sample["after"]["color"])
        self.assertEqual((sample["before"]["sx"], sample["before"]["sy"]), (24, 16))
        out, _ = self.run_kestrel("render", "scene.json", "--pixel", "24,16", *SMALL)
        self.assertRegex(out.decode(), r"luminous +0  ->  1")

        bad = "process: sa\n{\n    sa.color[1] = 1;\n    if (sa.sx > 25 && sa.sy > 10)\n        sa.diffuse = pow(10, 400);\n}\n"
        self.write(paint_ks=bad)
        out, err = self.run_kestrel("render", "scene.json", "--debug-nan", *SMALL, status=1)
        self.assertRegex(err, r"paint\.ks:5.*pixel 26,1[1-9].*infinite number in diffuse")
        self.write(paint_ks=PAINT)
        self.run_kestrel("render", "scene.json", "--debug-nan", *SMALL)


class Panels(Command):
    def setUp(self):
        super().setUp()
        self.write(rings_ks=OPTIONS)

    def options(self, *arguments, **options):
        return self.run_kestrel("options", "rings.ks", *arguments, **options)

    def luminous(self, *arguments):
        out, err = self.run_kestrel("shade", "rings.ks", *arguments)
        return json.loads(out)["sample"]["luminous"]

    def test_an_answer_is_kept_in_both_forms_and_the_picture_shows_it(self):
        self.write(answers_json=[{"ok": True, "Number": 7.5}])
        for mode in ("text", "binary"):
            self.options("--panel", "answers.json", "--state", mode, "--state-mode", mode)
            self.assertEqual(self.luminous("--state", mode), 7.5)
        text = (self.folder / "text").read_text()
        self.assertRegex(text, r"^Script \\.*RINGS\.KS\n7\.5\n$")
        self.assertTrue((self.folder / "binary").read_bytes().endswith(b"RINGS.KS\0\x40\xf0\0\0"))
        self.assertEqual(self.luminous(), 3)
        plain = self.picture("rings.ks", *SMALL)
        self.assertNotEqual(self.picture("rings.ks", "--state", "text", *SMALL), plain)

        # Going on from what was stored keeps the form.
        self.write(answers_json=[{"Number": 2}])
        self.options("--panel", "answers.json", "--state", "binary")
        self.assertEqual(self.luminous("--state", "binary"), 2)

    def test_cancelled_panels_and_wrong_answers_change_nothing(self):
        for answers, expected in (([{"ok": False, "Number": 9}], 0), ([], 0), ([{"Number": "many"}], 2),
                                  ([{"Nummer": 9}], 2), ({"Number": 9}, 2)):
            with self.subTest(answers):
                (self.folder / "state").unlink(missing_ok=True)
                self.write(answers_json=answers)
                _, err = self.options("--panel", "answers.json", "--state", "state", status=expected)
                if expected:
                    self.assertIn("answers.json", err)
                    self.assertFalse((self.folder / "state").exists())
                else:
                    self.assertEqual(self.luminous("--state", "state"), 3)
        self.options("--state", "fresh")
        self.assertEqual(self.luminous("--state", "fresh"), 3)

    def test_settings_that_are_none_are_refused(self):
        for name, data in (("empty", b""), ("short", b"\x09\0\0\0RINGS"), ("other", b"GIF89a not a state")):
            (self.folder / name).write_bytes(data)
            _, err = self.run_kestrel("render", "rings.ks", "-o", "p.png", "--state", name, *SMALL, status=2)
            self.assertIn(name, err)
        self.assertFalse((self.folder / "p.png").exists())
        # Cut short behind the script's name.
        for data, place in ((b"\x09\0\0\0RINGS.KS\0\x40\xf0", "begins at byte"), (b"Script RINGS.KS\n7.", "last line")):
            (self.folder / "cut").write_bytes(data)
            _, err = self.run_kestrel("render", "rings.ks", "-o", "p.png", "--state", "cut", *SMALL, status=2)
            self.assertRegex(err, f"cut: is cut short.*{place}")

    def test_json_messages_tell_each_panel_with_its_controls(self):
        objects, _ = self.objects("options", "rings.ks")
        panel = objects[0]
        self.assertEqual((panel["kind"], panel["title"]), ("panel", "Rings"))
        control = panel["controls"][0]
        self.assertEqual((control["label"], control["class"], control["value"]), ("Number", "FloatControl", 3))
        self.assertTrue({"x", "y"} <= set(control))

    def test_lists_offer_items_and_images_by_name(self):
        scene = {**SCENE, "surfaces": {"Paint": {}, "Floor": {}},
                 "images": [{"name": "Sky", "file": "a.png"}, {"name": "Bark", "file": "b.png"}]}
        script = """options {
            reqbegin("Lists");
            a = ctlallitems("Any", "Floor"); m = ctlimageitems("Image", "Sky"); s = ctlimageitems("Same", "Bark");
            reqpost();
            x = getvalue(a); info(x.name); y = getvalue(m); z = getvalue(s); info(y == z);
            reqend();
        }
        process: sa { }"""
        self.write(scene_json=scene, lists_ks=script, answers_json=[{"Any": "Lamp", "Image": "Bark"}])
        objects, err = self.objects("options", "lists.ks", "--scene", "scene.json", "--panel", "answers.json")
        self.assertEqual([c["value"] for c in objects[0]["controls"]], ["Floor", "Sky", "Bark"])
        self.assertEqual([o["line2"] for o in objects[1:]], ["Lamp", "1"])

    def test_the_example_answers_every_kind_of_control(self):
        script = str(harness.EXAMPLES / "options_panel.ks")
        objects, _ = self.objects("options", script)
        panel = next(o for o in objects if o["kind"] == "panel")
        classes = {control["class"] for control in panel["controls"]}
        self.assertEqual(classes, {"EditControl", "FileControl", "NumControl", "BoolControl", "FloatControl", "FVecControl",
                                   "VecControl", "MiniRGBControl", "MiniHSVControl", "ChoiceControl", "PopupControl",
                                   "SliderControl", "MiniSliderControl", "HXListControl", "InfoControl", "TextControl"})


if __name__ == "__main__":
    harness.main(__doc__)
