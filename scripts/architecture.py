#!/usr/bin/env python3
"""Draws the folders and their rooms with the includes between them, and checks that every include goes the right way.

    scripts/architecture.py            draws docs/architecture.svg
    scripts/architecture.py --check    changes nothing; status 1 when the picture is not up to date or an include is wrong

What a folder may include is what its CMakeLists.txt links; a room may include those that come before it in that file's
list of sources. The captions are those of the README files. Tests and what only they use are left out. fuzz/ may include
anything, is included by nobody, and is not in the picture.
"""

import argparse
import re
import sys
from collections import defaultdict
from html import escape
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs/architecture.svg"
FOLDERS = (  # from the ground up
    "platform", "engine", "frontend", "builtins", "ipc", "agents", "script", "host", "reference", "preview", "cli")
FREE = ("fuzz",)
DRAWN_ROOMS = ("engine", "builtins")
WITH_ROOMS = DRAWN_ROOMS + ("preview",)  # the rooms of the preview are checked only: the picture shows what is below
TABLE = "table"  # the room of the files that lie in such a folder itself: on top of the others
INTERFACE = "host/host_interface.h"
EXTENSION = "host/module_extension.h"
PUBLIC = {INTERFACE, EXTENSION, "script/sample_members.def"}  # every host may know it
DOORS = {"preview": PUBLIC, "cli": PUBLIC | {"host/script_session.h"}}  # all that they see of host/

SOURCE = re.compile(r"\.(h|c|cpp|y|l|def)$")
ONLY_FOR_TESTS = re.compile(r"(_test\.cpp|/test_\w+\.h|_fixture\.h|/fake_\w+\.(c|cpp))$")
GENERATED = {"grammar.tab.h"}
SDK = {"sdk/kestrel_agent.h": "agents/"}  # headers for others, and who includes them here

STANDARD = set(
    """algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits clocale
    cmath compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib
    cstring ctime cuchar cwchar cwctype deque exception execution filesystem format forward_list fstream functional
    future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory
    memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator
    semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string string_view
    syncstream system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray
    variant vector version assert.h float.h limits.h math.h stdarg.h stddef.h stdint.h stdio.h stdlib.h string.h"""
    .split())
LIBRARIES = {  # other headers in angle brackets, and who may include them; platform/ may include any
    "CLI/CLI.hpp": "cli/",
    "cxxabi.h": "script/functions.cpp",
    "histedit.h": "cli/debugger/line_editor.cpp",
    "nlohmann/json.hpp": "cli/ preview/import/",
    "nlohmann/json_fwd.hpp": "cli/",
    "png.h": "preview/picture/",
    "embree3/rtcore.h": "preview/render/raycaster.cpp",
    "asmjit/x86.h": "engine/fast/",
    "OpenEXR/ImfChannelList.h": "preview/picture/exr.cpp",
    "OpenEXR/ImfFrameBuffer.h": "preview/picture/exr.cpp",
    "OpenEXR/ImfHeader.h": "preview/picture/exr.cpp",
    "OpenEXR/ImfIO.h": "preview/picture/exr.cpp",
    "OpenEXR/ImfInputFile.h": "preview/picture/exr.cpp",
    "OpenEXR/ImfOutputFile.h": "preview/picture/exr.cpp",
}


# ---- what there is ----

def read_includes():
    """Every source with what it includes: [(line, text in brackets or quotes, whether in quotes)]."""
    directive = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
    includes = {}
    for folder in FOLDERS + FREE:
        for path in sorted((ROOT / folder).rglob("*")):
            name = path.relative_to(ROOT).as_posix()
            if not SOURCE.search(name) or ONLY_FOR_TESTS.search(name):
                continue
            lines = path.read_text(encoding="utf-8").splitlines()
            matches = [(number, directive.match(line)) for number, line in enumerate(lines, 1)]
            includes[name] = [(number, m[1] or m[2], m[1] is not None) for number, m in matches if m]
    return includes


def read_links():
    """The folders that each folder's library or program links."""
    links = {}
    for folder in FOLDERS:
        text = (ROOT / folder / "CMakeLists.txt").read_text(encoding="utf-8")
        call = re.search(r"kestrel_library\(\w+[^)]*?LINK([^)]*)\)|target_link_libraries\(kestrel ([^)]*)\)", text)
        links[folder] = set(re.findall(r"\bkestrel_(\w+)", call[0].split("TESTS")[0])) & set(FOLDERS)
    return links


def read_rooms(folder):
    """The rooms of a folder, from the ground up."""
    sources = re.search(r"SOURCES(.*?)LINK", (ROOT / folder / "CMakeLists.txt").read_text(encoding="utf-8"), re.S)[1]
    rooms = list(dict.fromkeys(re.findall(r"\b(\w+)/\w+\.cpp", sources)))
    has_table = any(re.fullmatch(r"\w+\.cpp", source) for source in sources.split())
    return rooms + [TABLE] if has_table else rooms


def unit_of(name):
    """The box of the picture in which a source lies: a folder, a room (`engine/values`), or the interface."""
    if name in (INTERFACE, EXTENSION):
        return INTERFACE
    parts = name.split("/")
    return f"{parts[0]}/{room_of(name)}" if parts[0] in DRAWN_ROOMS else parts[0]


def room_of(name):
    parts = name.split("/")
    return parts[1] if len(parts) > 2 else TABLE


# ---- what is wrong ----

def wrong_way(name, target, links, rooms):
    """Why a source may not include a header of ours; nothing when it may."""
    folder, other = name.split("/")[0], target.split("/")[0]
    if other in FREE and folder not in FREE:
        return f"nobody includes {other}/"
    if target in PUBLIC and folder in DOORS:
        return None
    if folder == other:
        if folder not in rooms:
            return None
        room, below = room_of(name), room_of(target)
        order = rooms[folder]
        if below not in order[: order.index(room) + 1]:
            return f"the room {below} lies above {room}"
        return None
    if folder in FREE:
        return None
    if other == "host" and folder in DOORS:
        return None if target in DOORS[folder] else f"{folder}/ sees of host/ only {', '.join(sorted(DOORS[folder]))}"
    return None if other in links[folder] else f"{folder}/ does not link {other}/"


def cycles(includes):
    """Headers that include themselves again, as texts."""
    found, done, path = [], set(), []

    def visit(name):
        if name in path:
            found.append(" -> ".join(path[path.index(name):] + [name]))
        elif name not in done:
            path.append(name)
            for _, target, _ in includes.get(name, []):
                visit(target)
            path.pop()
            done.add(name)

    for name in includes:
        visit(name)
    return found


def faults(includes, links, rooms):
    for name, lines in includes.items():
        for line, target, quoted in lines:
            where = f"{name}:{line}: {target}: "
            if name.split("/")[0] in FREE and target not in includes:
                if quoted and not (ROOT / target).exists():
                    yield where + "no such source"
                continue
            if quoted and target in SDK:
                if not name.startswith(SDK[target]):
                    yield where + f"only {SDK[target]} includes it"
            elif quoted and target in includes:
                reason = wrong_way(name, target, links, rooms)
                if reason:
                    yield where + reason
            elif quoted and target not in GENERATED:
                yield where + "no such source"
            elif not quoted and target not in STANDARD and not name.startswith("platform/"):
                users = LIBRARIES.get(target, "platform/").split()
                if not name.startswith(tuple(users)):
                    yield where + f"only {' and '.join(users)} include such headers"
        targets = {target for _, target, _ in lines}
        if name.startswith("cli/") and any(t.startswith("preview/") for t in targets):
            if any(t.startswith("host/") and t not in PUBLIC for t in targets):
                yield f"{name}: drives the module, so it sees of host/ only {', '.join(sorted(PUBLIC))}"
    for cycle in cycles(includes):
        yield f"these headers include each other: {cycle}"


# ---- the picture ----

LINE, CORNER, GAP, LANE = "#7d858c", 7, 46, 16
COLORS = {"platform": "#d8cdb8", "engine": "#bcd3e8", "frontend": "#c6dfc0", "builtins": "#f0d9b0", "ipc": "#dfe3c8",
          "agents": "#e8d3dd", "script": "#cfe0da",
          "host": "#e6c3bb", "reference": "#e9dfc4", "preview": "#d7c8e6", "cli": "#cfd4d8"}


class Box:
    def __init__(self, x, y, w, h):
        self.x, self.y, self.w, self.h = x, y, w, h

    @property
    def right(self):
        return self.x + self.w

    @property
    def bottom(self):
        return self.y + self.h

    @property
    def middle(self):
        return self.y + self.h / 2


def captions():
    """What lives where: folders from README.md, rooms from their folder's README.md."""
    found = dict(re.findall(r"^\| \[(\w+)/\]\(\w+/\) \| (.+) \|$", (ROOT / "README.md").read_text(encoding="utf-8"), re.M))
    for folder in DRAWN_ROOMS:
        rows = re.findall(r"^- `(\w+)/?(?:\.\w+)?`: (.+?)\.?$", (ROOT / folder / "README.md").read_text(encoding="utf-8"), re.M)
        found.update({f"{folder}/{room}": text for room, text in rows})
    return {unit: text.replace("`", "") for unit, text in found.items()}


def layout(rooms):
    """Where each box stands, from the top down."""
    left, top, row, header = 3 * LANE + 20, 0, 30, 40
    boxes = {}
    width, main = 1000, 690  # all; up to the right edge of what stands on the engine
    boxes["cli"] = Box(0, top, width, 56)
    boxes["reference"] = reference = Box(left, boxes["cli"].bottom + GAP, 372, 56)
    beside = left + 44  # the host leaves room for what goes from the reference to the folders below it
    boxes["host"] = host = Box(beside, reference.bottom + GAP, main - beside, 70)
    boxes[INTERFACE] = Box(main - 190, host.y + 12, 178, host.h - 24)
    boxes["agents"] = agents = Box(left + 116, host.bottom + GAP, 230, 56)
    boxes["script"] = Box(agents.right + 50, agents.y, 210, 56)
    y = agents.bottom + GAP
    built = Box(left + 190, y, main - left - 190, header + 3 * row + 2 * 28 + 14)
    boxes["builtins"] = built
    boxes["frontend"] = Box(left, y, 160, 100)
    boxes["ipc"] = Box(left, y + 122, 160, built.h - 122)
    stacked = rooms["engine"]
    boxes["engine"] = engine = Box(left, built.bottom + GAP, main - left, header + len(stacked) * (row + 16))
    boxes["preview"] = Box(main + 60, reference.y, width - main - 60, engine.bottom - reference.y)
    boxes["platform"] = Box(0, engine.bottom + GAP, width, 56)
    for i, room in enumerate(stacked):
        boxes[f"engine/{room}"] = Box(engine.x + 20, engine.bottom - 14 - row - i * (row + 16), 490, row)
    ground, *subjects = [room for room in rooms["builtins"] if room != TABLE]
    wide = Box(built.x + 20, 0, built.w - 40, row)
    each = (wide.w - 14 * (len(subjects) - 1)) / len(subjects)
    boxes[f"builtins/{TABLE}"] = Box(wide.x, built.y + header, wide.w, row)
    boxes[f"builtins/{ground}"] = Box(wide.x, built.bottom - 14 - row, wide.w, row)
    for i, room in enumerate(subjects):
        boxes[f"builtins/{room}"] = Box(wide.x + i * (each + 14), built.y + header + row + 28, each, row)
    return boxes


def path(points):
    """An arrow along points, with rounded corners."""
    d = f"M{points[0][0]:g} {points[0][1]:g}"
    for (ax, ay), (x, y), (bx, by) in zip(points, points[1:], points[2:]):
        def towards(px, py):
            length = abs(px - x) + abs(py - y)  # all legs are level or upright
            share = min(CORNER, length / 2) / length if length else 0
            return f"{x + (px - x) * share:g} {y + (py - y) * share:g}"
        d += f" L{towards(ax, ay)} Q{x:g} {y:g} {towards(bx, by)}"
    return f'<path d="{d} L{points[-1][0]:g} {points[-1][1]:g}"/>'


def lanes(boxes, arrows, edge, step):
    """Arrows that pass other boxes: out at the side, along a lane, and in. One lane for each target, the lowest target's
    outermost; lines of one box leave and arrive at places of their own, so that they do not run into each other."""
    targets = sorted({target for _, target in arrows}, key=lambda t: (boxes[t].y, t))
    at = {target: edge + step * (i + 1) for i, target in enumerate(targets)}

    def port(box, place):
        x = box.right if step > 0 else box.x
        return (x, box.y + min(box.h / 2, 15) + place)

    drawn = []
    for source, target in sorted(arrows):
        a, b, x = boxes[source], boxes[target], at[target]
        out = sorted((t for s, t in arrows if s == source), key=lambda t: (-boxes[t].y, t)).index(target)
        start = [(x, a.bottom)] if a.x < x < a.right else [port(a, 6 * out), (x, port(a, 6 * out)[1])]
        end = [(x, b.y)] if b.x < x < b.right else [(x, port(b, -7)[1]), port(b, -7)]
        drawn.append(path(start + end))
    return drawn


def folder_arrows(boxes, arrows):
    """Level to what stands beside, straight down where nothing stands between, else along the left or along the right of
    the built-ins."""
    tops = [boxes[folder] for folder in FOLDERS]
    drawn, left, right = [], [], []
    for source, target in sorted(arrows):
        a, b = boxes[source], boxes[target]
        if source == "host" and target == INTERFACE:
            drawn.append(path([(b.x - 40, b.middle), (b.x, b.middle)]))
            continue
        if a.y < b.middle < a.bottom:
            drawn.append(path([(a.x, b.middle), (b.right, b.middle)]))
            continue
        from_x, to_x = max(a.x, b.x), min(a.right, b.right)
        tries = [from_x + share * (to_x - from_x) for share in (0.5, 0.6)] + ([from_x + 14] if a.x > 0 else [])
        free = [x for x in tries if not any(
            box.x <= x <= box.right and a.bottom <= box.y and box.bottom <= b.y for box in tops)]
        if from_x < to_x and free:
            drawn.append(path([(free[0], a.bottom), (free[0], b.y)]))
        elif source == "reference" and target == "builtins":
            x, level, beside = a.x + 30, boxes["host"].bottom + 18, boxes["agents"].right + 20
            drawn.append(path([(x, a.bottom), (x, level), (beside, level), (beside, b.y)]))
        elif a.x < boxes["builtins"].x:
            left.append((source, target))
        else:
            right.append((source, target))
    return drawn + lanes(boxes, left, boxes["engine"].x, -LANE) + lanes(boxes, right, boxes["builtins"].right, LANE + 10)


def stacked_arrows(boxes, arrows, order):
    """Rooms above each other: straight to the next one, along lanes at the right to those further down."""
    drawn, far = [], []
    for source, target in sorted(arrows):
        a, b = boxes[source], boxes[target]
        if order.index(source) - order.index(target) == 1:
            drawn.append(path([(a.x + a.w / 2, a.bottom), (a.x + a.w / 2, b.y)]))
        else:
            far.append((source, target))
    return drawn + lanes(boxes, far, boxes[order[0]].right, LANE)


def subject_arrows(boxes, arrows, ground, top):
    """The rooms of the built-ins: subjects side by side between the ground and the table."""
    gap = max(boxes[source].x for source, _ in arrows if source not in (ground, top)) - 7  # before the last subject
    drawn = []
    for source, target in sorted(arrows):
        a, b = boxes[source], boxes[target]
        if a.y == b.y:
            under = a.bottom + 9
            points = [(a.x, a.middle), (b.right, b.middle)]
            if a.x - b.right > 20:  # not beside each other: below what stands between
                points = [(a.x + 12, a.bottom), (a.x + 12, under), (b.right - 12, under), (b.right - 12, b.bottom)]
        else:
            x = gap if (source, target) == (top, ground) else (a if a.w < b.w else b).x + min(a.w, b.w) / 2
            points = [(x, a.bottom), (x, b.y)]
        drawn.append(path(points))
    return drawn


def draw_box(unit, box, caption):
    folder = unit.split("/")[0]
    inner = "/" in unit
    label = unit.split("/")[1] if inner else unit + "/"
    fill, stroke = ("#fbfbf8", ' stroke-dasharray="4 3"' if unit == INTERFACE else "") if inner else (COLORS[folder], "")
    drawn = [f'<rect x="{box.x:g}" y="{box.y:g}" width="{box.w:g}" height="{box.h:g}" rx="{4 if inner else 7}" '
             f'fill="{fill}" stroke="#5c6166"{stroke}/>']
    if inner:
        y = box.middle + 4.5
        if caption and box.w > 300:
            if 5.9 * len(caption) > box.w - 110:
                sys.exit(f"{folder}/README.md: what it says of {label} is too long for the picture: {caption}")
            drawn.append(f'<text x="{box.x + 12:g}" y="{y:g}"><tspan class="room">{label}</tspan></text>')
            drawn.append(f'<text class="note" x="{box.x + 104:g}" y="{y:g}">{escape(caption)}</text>')
        else:
            drawn.append(f'<text class="room" text-anchor="middle" x="{box.x + box.w / 2:g}" y="{y:g}">{label}</text>')
        return drawn
    drawn.append(f'<text class="folder" x="{box.x + 14:g}" y="{box.y + 25:g}">{label}</text>')
    room, x, y = int((box.w - 28) / 6.6), box.x + 14, box.y + 43
    if folder in DRAWN_ROOMS:  # rooms follow below: beside the name
        x, y, room = box.x + 24 + 10 * len(label), box.y + 25, 200
    lines = [""]
    for word in caption.split():
        if len(lines[-1]) + len(word) >= room:
            lines.append("")
        lines[-1] = f"{lines[-1]} {word}".strip()
    return drawn + [f'<text class="note" x="{x:g}" y="{y + 16 * i:g}">{escape(text)}</text>'
                    for i, text in enumerate(lines)]


def picture(includes, rooms):
    between = {(unit_of(name), unit_of(target)) for name, lines in includes.items()
               for _, target, quoted in lines if quoted and target in includes and name.split("/")[0] not in FREE}
    inside = defaultdict(set)
    outside = set()
    for source, target in between:
        a, b = (unit.split("/")[0] if unit != INTERFACE else unit for unit in (source, target))
        if a != b and a != INTERFACE:
            outside.add((a, b))
        elif source != target:
            inside[a].add((source, target))
    boxes, texts = layout(rooms), captions()
    shapes = [line for unit in FOLDERS for line in draw_box(unit, boxes[unit], texts.get(unit, ""))]
    shapes += [line for unit in sorted(boxes) if unit not in FOLDERS for line in draw_box(unit, boxes[unit], texts.get(unit, ""))]
    order = [f"engine/{room}" for room in rooms["engine"]]
    arrows = folder_arrows(boxes, outside) + stacked_arrows(boxes, inside["engine"], order)
    arrows += subject_arrows(boxes, inside["builtins"], f"builtins/{rooms['builtins'][0]}", f"builtins/{TABLE}")
    height = boxes["platform"].bottom + 2
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="-2 -2 1004 {height + 2:g}" width="1004" height="{height + 2:g}">',
        "<!-- Drawn by scripts/architecture.py: an arrow means that something includes something. -->",
        "<style>text { font: 13px 'DejaVu Sans', Verdana, sans-serif; fill: #23272b } .folder { font-weight: bold; "
        "font-size: 16px } .room { font-weight: bold } .note { font-size: 12px }</style>",
        '<defs><marker id="head" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="8" markerHeight="8" orient="auto">'
        f'<path d="M0 1 L9.5 5 L0 9 z" fill="{LINE}"/></marker></defs>',
        *shapes,
        f'<g fill="none" stroke="{LINE}" stroke-width="1.5" marker-end="url(#head)">',
        *arrows,
        "</g>", "</svg>", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="compare with what is there instead of drawing")
    check = parser.parse_args().check
    includes, links = read_includes(), read_links()
    rooms = {folder: read_rooms(folder) for folder in WITH_ROOMS}
    wrong = list(faults(includes, links, rooms))
    drawing = picture(includes, rooms)
    if not check:
        PICTURE.write_text(drawing, encoding="utf-8")
    elif not PICTURE.exists() or PICTURE.read_text(encoding="utf-8") != drawing:
        wrong.append("docs/architecture.svg is not up to date: run scripts/architecture.py")
    for text in wrong:
        print(text)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
