#!/usr/bin/env python3
"""Holds docs/scene.schema.json against what the reader of scene descriptions takes.

Every description here, the examples and the one in docs/scenes.md are given to both: they must agree on whether it is right.
Each broken one is a right one with one change.
"""

import argparse
import copy
import json
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

ROOT = Path(__file__).resolve().parents[2]
KEYED = {"keys": [{"frame": 0, "value": 1}, {"time": 1, "value": 2}], "interpolation": "smooth"}

# Every key once, so that a key that only one of the two knows is found.
WHOLE = {
    "version": 1, "name": "All",
    "settings": {"frames": {"start": -5, "end": 10, "step": 2}, "framesPerSecond": 24, "size": [64, 48],
                 "pixelAspect": 1.5, "samples": [1, 4], "limitedRegion": [0, 0, 32, 48], "renderType": "quick",
                 "renderOptions": ["shadows", "reflection", "refraction"]},
    "surfaces": {"S": {"script": "a.ks", "color": 0.5, "luminous": 1, "diffuse": 1, "specular": 1, "mirror": 0.5,
                       "transparency": 0.5, "eta": 1.5, "roughness": 0.5}},
    "images": [{"name": "I", "file": "i.png"}],
    "environment": {"file": "e.hdr", "intensity": 2, "rotation": -400},
    "sky": {"horizon": 1, "zenith": [0, 0, 1], "bounce": 0, "glow": 2, "glowDirection": [0, 1, 0]},
    "ambient": KEYED,
    "meshes": [
        {"name": "Ball", "parent": "Sun", "target": "Lens", "goal": "Lens", "aims": True, "position": [0, 0, 0],
         "rotation": {"keys": [{"frame": 0, "value": [0, 0, 0]}]}, "scale": KEYED, "pivot": [1, 2, 3],
         "limits": {"position": {"min": [0, None, 0], "max": [1, 1, None]}, "rotation": {"min": [0, 0, 0], "max": [1, 1, 1]},
                    "scale": {"min": [0, 0, 0], "max": [1, 1, 1]}},
         "shape": "sphere", "size": 2, "surface": "S", "dissolve": 0.5,
         "shadows": {"self": True, "cast": False, "receive": True}, "hidden": False},
        {"name": "File", "file": "m.obj", "surfaces": {"M": "S"},
         "bones": [{"name": "Bone", "parent": "File", "position": [0, 0, 1], "rotation": [0, 0, 0], "scale": 1,
                    "pivot": [0, 0, 0], "length": 2, "reach": [0, 4], "active": False,
                    "rest": {"position": [0, 0, 0], "rotation": [0, 0, 0], "scale": 1, "pivot": [0, 0, 0]}}]}],
    "lights": [
        {"name": "Sun", "type": "distant", "angle": 1, "color": [1, 1, 1], "intensity": KEYED, "shadow": "mapped",
         "falloff": "square", "range": 3},
        {"type": "spot", "cone": 40, "edge": 5, "radius": 1}, {"type": "linear", "length": 2},
        {"type": "area", "size": [1, 2]}, {"radius": 0}],
    "cameras": [{"name": "Lens", "fov": KEYED, "focalDistance": 4, "fStop": 2, "blurLength": 0.5}, {"zoom": 2},
                {"focalLength": 50, "orthographicHeight": 3}],
}
WRONG_VALUES = (None, True, -1, 1.5, 1e20, "", "no such word", [], [1, 2], [1, 2, -3], ["a", 1, 2], {}, {"keys": []},
                {"keys": [{"value": 1}]}, {"keys": [{"frame": 0, "time": 0, "value": 1}]}, {"keys": [{"frame": 0, "value": "x"}]})
# What a schema cannot say: names that must be there, numbers that depend on others.
BEYOND_SCHEMA = re.compile(
    r"there is no (item|surface)|must be later|an item cannot be its own|among its own parents|is no mesh that can|"
    r"cannot be read|the parent of bone|another item is called|names a surface|has nothing inside|has no direction|"
    r"limitedRegion/\d: must be from 0|(samples/1|frames/end|reach/1): must be from|"
    r"(fov|zoom|focalLength)[^:]*: must be from")


def places(value, path=()):
    """Where something stands in a description, containers first."""
    if path:
        yield path
    children = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, child in children:
        yield from places(child, path + (key,))


def changed(path, change):
    copied = copy.deepcopy(WHOLE)
    holder = copied
    for key in path[:-1]:
        holder = holder[key]
    change(holder, path[-1])
    return copied


class Schema(unittest.TestCase):
    scene_check = ""

    def setUp(self):
        self.schema = json.loads((ROOT / "docs/scene.schema.json").read_text())
        jsonschema.Draft202012Validator.check_schema(self.schema)
        self.validator = jsonschema.Draft202012Validator(self.schema)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "m.obj").write_text("v 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl M\nf 1 2 3\n")

    def read(self, descriptions):
        """What the reader says of each."""
        names = []
        for number, description in enumerate(descriptions):
            names.append(f"{number}.json")
            (self.folder / names[-1]).write_text(json.dumps(description))
        done = subprocess.run([self.scene_check, *names], cwd=self.folder, capture_output=True, text=True, timeout=120)
        lines = done.stdout.splitlines()
        self.assertEqual(len(lines), len(names), done.stderr)
        return lines

    def agree(self, descriptions):
        """How many are right, after both have been asked about all."""
        right = 0
        for description, line in zip(descriptions, self.read(descriptions)):
            taken = line.startswith("ok ")
            right += taken
            if taken or not BEYOND_SCHEMA.search(line):
                self.assertEqual(taken, self.validator.is_valid(description), f"{line}\n{json.dumps(description)}")
        return right

    def test_right_ones(self):
        page = (ROOT / "docs/scenes.md").read_text()
        self.assertEqual(self.agree([WHOLE, json.loads(re.search(r"```json\n(.*?)```", page, re.S)[1])]), 2)
        for path in sorted((ROOT / "examples/scenes").glob("*.json")):
            self.assertTrue(self.validator.is_valid(json.loads(path.read_text())), path)
            done = subprocess.run([self.scene_check, path], capture_output=True, text=True, timeout=120)
            self.assertTrue(done.stdout.startswith("ok "), done.stdout)

    def test_unknown_keys(self):
        def add(holder, key):
            holder[key]["colour"] = 1

        objects = [path for path in places(WHOLE) if isinstance(self.at(path), dict)]
        self.assertGreater(len(objects), 20)
        self.agree([changed(path, add) for path in objects])

    def test_missing_keys(self):
        def remove(holder, key):
            del holder[key]

        self.agree([changed(path, remove) for path in places(WHOLE)])

    def test_wrong_values(self):
        variants = []
        for number, path in enumerate(places(WHOLE)):
            for step in range(3):  # some at each place; neighbours get others
                value = WRONG_VALUES[(3 * number + step) % len(WRONG_VALUES)]
                variants.append(changed(path, lambda holder, key, value=value: holder.__setitem__(key, value)))
        right = self.agree(variants)
        self.assertGreater(right, 20)
        self.assertLess(right, len(variants) / 2)

    @staticmethod
    def at(path):
        value = WHOLE
        for key in path:
            value = value[key]
        return value


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--scene-check", required=True, type=Path, help="the program that reads scene files")
    args, rest = parser.parse_known_args()
    Schema.scene_check = str(args.scene_check.resolve())
    unittest.main(argv=[parser.prog, *rest])
