#!/usr/bin/env python3
"""Writes the meshes and the glTF scene of this folder: tower.gltf, which bends on its bones, and vase.obj.

    examples/scenes/make.py            writes them beside this script
    examples/scenes/make.py FOLDER     writes them there

Both are small enough to read: the numbers stand in the files as base64, everything else as text.
"""

import base64
import json
import math
import struct
import sys
from pathlib import Path

FLOAT, SHORT, BYTE = 5126, 5123, 5121
PACK = {FLOAT: "f", SHORT: "H", BYTE: "B"}
WIDTH = {"SCALAR": 1, "VEC3": 3, "VEC4": 4, "MAT4": 16}


class Buffer:
    """The one buffer of a glTF file, with an accessor for each list that is added."""

    def __init__(self):
        self.bytes = bytearray()
        self.views = []
        self.accessors = []

    def add(self, kind, component, numbers, target=None):
        while len(self.bytes) % 4:
            self.bytes.append(0)
        packed = struct.pack(f"<{len(numbers)}{PACK[component]}", *numbers)
        view = {"buffer": 0, "byteOffset": len(self.bytes), "byteLength": len(packed)}
        if target:
            view["target"] = target
        self.views.append(view)
        self.bytes += packed
        accessor = {"bufferView": len(self.views) - 1, "componentType": component, "type": kind,
                    "count": len(numbers) // WIDTH[kind]}
        width = WIDTH[kind]
        if component == FLOAT and kind != "MAT4":
            # What is compared with these bounds has been rounded to single precision.
            rounded = struct.unpack(f"<{len(numbers)}f", packed)
            accessor["min"] = [min(rounded[i::width]) for i in range(width)]
            accessor["max"] = [max(rounded[i::width]) for i in range(width)]
        self.accessors.append(accessor)
        return len(self.accessors) - 1

    def points(self, vectors):
        return self.add("VEC3", FLOAT, [x for v in vectors for x in v], 34962)

    def indices(self, numbers):
        return self.add("SCALAR", SHORT, numbers, 34963)


def grid(rows, columns):
    """Triangles between rows of columns + 1 points each, counterclockwise as seen from outside."""
    result = []
    for row in range(rows):
        for column in range(columns):
            a = row * (columns + 1) + column
            b = a + columns + 1
            result += [a, b, a + 1, a + 1, b, b + 1]
    return result


def turned(profile, columns):
    """Points and normals of a profile of (radius, height), from below, turned about the y axis."""
    points, normals = [], []
    for i, (radius, height) in enumerate(profile):
        before, after = profile[max(0, i - 1)], profile[min(len(profile) - 1, i + 1)]
        slope = math.hypot(after[0] - before[0], after[1] - before[1]) or 1
        out, up = (after[1] - before[1]) / slope, (before[0] - after[0]) / slope
        for column in range(columns + 1):
            angle = 2 * math.pi * column / columns
            c, s = math.cos(angle), math.sin(angle)
            points.append((radius * c, height, radius * s))
            normals.append((out * c, up, out * s))
    return points, normals


def turn_about(axis, degrees):
    half = math.radians(degrees) / 2
    return [math.sin(half) * x for x in axis] + [math.cos(half)]


def looking(eye, target):
    """The rotation of a camera or a light, which looks along its -z."""
    x, y, z = (t - e for e, t in zip(eye, target))
    heading = math.atan2(-x, -z)
    pitch = math.atan2(y, math.hypot(x, z))
    ch, sh, cp, sp = math.cos(heading / 2), math.sin(heading / 2), math.cos(pitch / 2), math.sin(pitch / 2)
    return [ch * sp, sh * cp, -sh * sp, ch * cp]


JOINTS, JOINT_LENGTH = 4, 0.75


def tower(buffer):
    """A slender tower whose joints stand one above the other."""
    rows, columns = 36, 24
    height = JOINTS * JOINT_LENGTH
    profile = [(0.0, 0.0)] + [
        (0.42 - 0.24 * i / rows + 0.03 * math.cos(i * math.pi / 3), height * i / rows) for i in range(rows + 1)
    ] + [(0.0, height)]
    points, normals = turned(profile, columns)
    joints, weights = [], []
    for _, y, _ in points:
        place = min(max(y / JOINT_LENGTH - 0.5, 0.0), JOINTS - 1.0)
        below = min(int(place), JOINTS - 2)
        share = place - below
        joints += [below if share < 1 else 0, below + 1 if share > 0 else 0, 0, 0]
        weights += [1 - share, share, 0, 0]
    inverse = []
    for joint in range(JOINTS):
        inverse += [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -joint * JOINT_LENGTH, 0, 1]
    primitive = {"attributes": {"POSITION": buffer.points(points), "NORMAL": buffer.points(normals),
                                "JOINTS_0": buffer.add("VEC4", BYTE, joints, 34962),
                                "WEIGHTS_0": buffer.add("VEC4", FLOAT, weights, 34962)},
                 "indices": buffer.indices(grid(len(profile) - 1, columns)), "material": 0}
    return primitive, buffer.add("MAT4", FLOAT, inverse)


def ball(buffer, material):
    rows, columns = 16, 32
    profile = [(math.sin(math.pi * i / rows), -math.cos(math.pi * i / rows)) for i in range(rows + 1)]
    points, _ = turned(profile, columns)
    return {"attributes": {"POSITION": buffer.points(points), "NORMAL": buffer.points(points)},
            "indices": buffer.indices(grid(rows, columns)), "material": material}


def floor(buffer, material, half):
    points = [(-half, 0, half), (half, 0, half), (half, 0, -half), (-half, 0, -half)]
    return {"attributes": {"POSITION": buffer.points(points)}, "indices": buffer.indices([0, 1, 2, 0, 2, 3]),
            "material": material}


def tower_scene():
    buffer = Buffer()
    body, inverse = tower(buffer)
    meshes = [{"name": "Tower", "primitives": [body]},
              {"name": "Ball", "primitives": [ball(buffer, 1)]},
              {"name": "Floor", "primitives": [floor(buffer, 2, 8)]}]
    times = buffer.add("SCALAR", FLOAT, [0, 1, 2])
    eyes = [(-3.2, 2.6, 5.2), (0.4, 2.2, 6.0), (3.4, 2.8, 5.0)]
    target = (0.3, 1.3, 0)
    bends = buffer.add("VEC4", FLOAT, [x for d in (8, -14, 8) for x in turn_about((0, 0, 1), d)])
    places = buffer.add("VEC3", FLOAT, [x for eye in eyes for x in eye])
    views = buffer.add("VEC4", FLOAT, [x for eye in eyes for x in looking(eye, target)])

    joint = 4  # the first of the joints' nodes
    nodes = [{"name": "Tower", "mesh": 0, "skin": 0},
             {"name": "Balls", "children": [2, 3]},
             {"name": "Large ball", "mesh": 1, "translation": [1.5, 0.6, 0.6], "scale": [0.6, 0.6, 0.6]},
             {"name": "Small ball", "mesh": 1, "translation": [-1.3, 0.35, 0.9], "scale": [0.35, 0.35, 0.35]}]
    for i in range(JOINTS):
        node = {"name": f"Joint {i + 1}", "translation": [0, JOINT_LENGTH if i else 0, 0]}
        if i + 1 < JOINTS:
            node["children"] = [joint + i + 1]
        nodes.append(node)
    key, lamp = (4, 6, 5), (-3, 2.5, 2.5)
    nodes += [{"name": "Floor", "mesh": 2},
              {"name": "Camera", "camera": 0, "translation": list(eyes[0]), "rotation": looking(eyes[0], target)},
              {"name": "Sun", "translation": list(key), "rotation": looking(key, (0, 1, 0)),
               "extensions": {"KHR_lights_punctual": {"light": 0}}},
              {"name": "Lamp", "translation": list(lamp), "rotation": looking(lamp, (0, 1, 0)),
               "extensions": {"KHR_lights_punctual": {"light": 1}}}]
    camera = joint + JOINTS + 1

    def material(name, color, script):
        return {"name": name, "pbrMetallicRoughness": {"baseColorFactor": color + [1], "metallicFactor": 0,
                                                       "roughnessFactor": 0.6}, "extras": {"kestrel": script}}

    samplers = [{"input": times, "output": bends}, {"input": times, "output": places},
                {"input": times, "output": views}]
    channels = [{"sampler": 0, "target": {"node": joint + i, "path": "rotation"}} for i in range(1, JOINTS)]
    channels += [{"sampler": 1, "target": {"node": camera, "path": "translation"}},
                 {"sampler": 2, "target": {"node": camera, "path": "rotation"}}]
    return {
        "asset": {"version": "2.0", "generator": "examples/scenes/make.py"},
        "extensionsUsed": ["KHR_lights_punctual"],
        "extensions": {"KHR_lights_punctual": {"lights": [
            {"name": "Sun", "type": "directional", "color": [1, 0.93, 0.82], "intensity": 2.6},
            {"name": "Lamp", "type": "spot", "color": [0.6, 0.75, 1], "intensity": 20,
             "spot": {"innerConeAngle": 0.3, "outerConeAngle": 0.7}}]}},
        "scene": 0,
        "scenes": [{"name": "Bending tower",
                    "nodes": [0, joint, 1, joint + JOINTS, camera, camera + 1, camera + 2]}],
        "nodes": nodes,
        "meshes": meshes,
        "skins": [{"inverseBindMatrices": inverse, "joints": [joint + i for i in range(JOINTS)],
                   "skeleton": joint}],
        "cameras": [{"name": "Camera", "type": "perspective",
                     "perspective": {"yfov": 0.62, "znear": 0.1, "aspectRatio": 1.25}}],
        "materials": [material("Stone", [0.8, 0.78, 0.74], "../brick.ks"),
                      material("Marble", [0.85, 0.83, 0.8], "../marble.ks"),
                      material("Boards", [0.7, 0.5, 0.3], "../wood.ks")],
        "animations": [{"name": "Sway", "samplers": samplers, "channels": channels}],
        "accessors": buffer.accessors,
        "bufferViews": buffer.views,
        "buffers": [{"byteLength": len(buffer.bytes),
                     "uri": "data:application/octet-stream;base64," + base64.b64encode(buffer.bytes).decode()}],
    }


def vase():
    """A vase of quads with a clay body and a glazed neck, smooth all around."""
    profile = [(0.0, 0.0), (0.34, 0.0), (0.42, 0.08), (0.56, 0.4), (0.5, 0.75), (0.28, 1.05), (0.22, 1.25),
               (0.3, 1.45), (0.26, 1.45), (0.17, 1.25), (0.22, 1.05)]
    columns = 20
    lines = ["# Written by make.py.", "mtllib vase.mtl", "o Vase"]
    for radius, height in profile:
        for column in range(columns):
            angle = 2 * math.pi * column / columns
            lines.append(f"v {radius * math.cos(angle):.5f} {height:.5f} {radius * math.sin(angle):.5f}")
    lines += ["s 1", "usemtl Clay"]
    for row in range(len(profile) - 1):
        if row == 5:
            lines.append("usemtl Glaze")
        for column in range(columns):
            a, b = row * columns + column + 1, row * columns + (column + 1) % columns + 1
            lines.append(f"f {a} {a + columns} {b + columns} {b}")
    return "\n".join(lines) + "\n"


MATERIALS = """# Written by make.py.
newmtl Clay
Kd 0.62 0.35 0.24
Ks 0.1 0.1 0.1
Ns 20

newmtl Glaze
Kd 0.12 0.3 0.42
Ks 0.6 0.6 0.6
Ns 400
"""


def main():
    folder = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parent)
    (folder / "tower.gltf").write_text(json.dumps(tower_scene(), indent=1) + "\n")
    (folder / "vase.obj").write_text(vase())
    (folder / "vase.mtl").write_text(MATERIALS)


if __name__ == "__main__":
    main()
