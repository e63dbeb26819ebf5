#include "preview/import/description_items.h"

#include "preview/import/description_bones.h"
#include "preview/import/input_file.h"
#include "preview/import/mesh_file.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrel::preview {

namespace {

double readShare(const JsonValue& json) {
    return json.number(0.0, 1.0);
}
double readAmount(const JsonValue& json) {
    return json.number(0.0, ImportLimits::kCoordinate);
}
/// A length that something has to have.
double readSize(const JsonValue& json) {
    const double size = readAmount(json);
    if (!(size > 0.0)) json.fail("must be more than 0");
    return size;
}
double sizeOr(const JsonValue& holder, std::string_view key, double otherwise) {
    const std::optional<JsonValue> size = holder.find(key);
    return size ? readSize(*size) : otherwise;
}
double amountOr(const JsonValue& holder, std::string_view key, double otherwise) {
    const std::optional<JsonValue> amount = holder.find(key);
    return amount ? readAmount(*amount) : otherwise;
}

/// A component is limited when both its ends are numbers.
Limits readLimits(const JsonValue& json, double unit) {
    json.allows({"min", "max"});
    const JsonValue min = json.require("min");
    const JsonValue max = json.require("max");
    if (min.size() != 3) min.fail("must have three elements");
    if (max.size() != 3) max.fail("must have three elements");
    Limits limits;
    const std::array lows{&limits.min.x, &limits.min.y, &limits.min.z};
    const std::array highs{&limits.max.x, &limits.max.y, &limits.max.z};
    for (unsigned i = 0; i < 3; ++i) {
        if (!min.at(i).isNull()) *lows[i] = min.at(i).number() * unit;
        if (!max.at(i).isNull()) *highs[i] = max.at(i).number() * unit;
        if (!min.at(i).isNull() && !max.at(i).isNull()) limits.unlimited &= ~(1U << i);
    }
    return limits;
}

/// Says once for each type of light what it may have beside what all have.
void checkLightKeys(const JsonValue& json, LightItem::Type type) {
    const auto refuse = [&json](std::string_view key, const char* owner) {
        if (const auto value = json.find(key))
            value->fail(std::string("only ") + owner + " lights have this");
    };
    using enum LightItem::Type;
    if (type != Spot) refuse("cone", "spot");
    if (type != Spot) refuse("edge", "spot");
    if (type != Distant) refuse("angle", "distant");
    if (type == Distant) refuse("radius", "point and spot");
    if (type != Area) refuse("size", "area");
    if (type != Linear) refuse("length", "linear");
}

void readExtent(const JsonValue& json, LightItem& light) {
    using enum LightItem::Type;
    if (light.type == Spot) {
        light.coneRadius =
            0.5 * kRadians * (json.find("cone") ? json.require("cone").number(0.1, 180.0) : 60.0);
        const auto edge = json.find("edge");
        light.coneEdge = std::min(light.coneRadius, kRadians * (edge ? edge->number(0.0, 90.0) : 5.0));
    }
    if (light.type == Distant) {
        light.radius = 0.5 * kRadians * (json.find("angle") ? json.require("angle").number(0.0, 90.0) : 0.0);
    } else {
        light.radius = amountOr(json, "radius", 0.0);
    }
    if (light.type == Linear) light.size.x = sizeOr(json, "length", 1.0);
    if (light.type != Area) return;
    light.size = {1.0, 1.0, 0.0};
    const std::optional<JsonValue> size = json.find("size");
    if (!size) return;
    if (size->size() != 2) size->fail("must be width and height");
    light.size = {readSize(size->at(0)), readSize(size->at(1)), 0.0};
}

}  // namespace

ItemReader::ItemReader(Scene& scene, const TrackReader& tracks, Budget& budget)
    : scene_(scene), tracks_(tracks), budget_(budget) {
    for (std::size_t i = 0; i < scene.surfaces.size(); ++i) {
        surfacesByName_.emplace(scene.surfaces[i].name, static_cast<std::int32_t>(i));
        (void)surfaceNames_.choose(scene.surfaces[i].name, "Surface");
    }
}

std::string ItemReader::nameOf(const JsonValue& json, const std::string& kind) {
    const std::optional<JsonValue> written = json.find("name");
    if (written && written->text().empty()) written->fail("must not be empty");
    if (written && itemsByName_.contains(written->text())) {
        written->fail("another item is called \"" + written->text() + "\"");
    }
    return itemNames_.choose(written ? written->text() : "", kind);
}

void ItemReader::readItem(const JsonValue& json, Item& item) {
    budget_.takeItem();
    itemsByName_.emplace(item.name, item.id);
    item.motion = tracks_.motion(json);
    const std::array<std::pair<const char*, HostItemID Item::*>, 3> relations{
        {{"parent", &Item::parent}, {"target", &Item::target}, {"goal", &Item::goal}}};
    for (const auto& [key, what] : relations) {
        if (const auto name = json.find(key)) references_.push_back({item.id, what, *name});
    }
    const bool directed = item.type == HX_LIGHT || item.type == HX_CAMERA;
    item.aims = json.find("target") && json.booleanOr("aims", directed);
    const std::optional<JsonValue> limits = json.find("limits");
    if (!limits) return;
    limits->allows({"position", "rotation", "scale"});
    if (const auto position = limits->find("position")) item.limits[0] = readLimits(*position, 1.0);
    if (const auto rotation = limits->find("rotation")) item.limits[1] = readLimits(*rotation, kRadians);
    if (const auto scale = limits->find("scale")) item.limits[2] = readLimits(*scale, 1.0);
}

// ---- meshes ----

void ItemReader::readMesh(const JsonValue& json) {
    json.allows({"name", "parent", "target", "goal", "aims", "position", "rotation", "scale", "pivot",
                 "limits", "file", "shape", "size", "surface", "surfaces", "dissolve", "shadows", "hidden",
                 "bones"});
    MeshItem& mesh = addMesh(scene_, nameOf(json, "Mesh"));
    readItem(json, mesh.item);
    mesh.dissolve = tracks_.number(json, "dissolve", 0.0, readShare);
    readShadows(json, mesh);
    mesh.hidden = json.booleanOr("hidden", false);
    const std::optional<JsonValue> file = json.find("file");
    const std::optional<JsonValue> shape = json.find("shape");
    if (file && shape) shape->fail("a mesh has either a file or a shape");
    if (file) {
        readMeshFileOf(*file, json, mesh);
        return;
    }
    if (const auto surfaces = json.find("surfaces"))
        surfaces->fail("only meshes from files have several surfaces");
    if (const auto bones = json.find("bones")) bones->fail("only meshes from files have bones");
    if (shape) {
        readShape(*shape, json, mesh);
    } else {
        mesh.hidden = true;  // a group
    }
}

void ItemReader::readShape(const JsonValue& shape, const JsonValue& json, MeshItem& mesh) {
    const std::size_t which = shape.oneOf({"sphere", "ground", "plane", "cube"});
    const double size = sizeOr(json, "size", which == 1 ? 400.0 : 1.0);
    mesh.filename = shape.text();
    // An exact shape is counted like the one of triangles that stands in for it where it is scaled.
    if (which == 0) makeBall(mesh, size);
    if (which == 1 || which == 2) makePlane(mesh, size);
    if (which == 3) makeCube(mesh, size);
    if (which < 2) {
        mesh.shape = which == 0 ? MeshItem::Shape::Sphere : MeshItem::Shape::Ground;
        mesh.size = size;
        mesh.geometry = nullptr;
    }
    const std::optional<JsonValue> surface = json.find("surface");
    mesh.surfaces = {surface ? surfaceNamed(*surface) : surfaceOfFile({mesh.item.name, {}, {}})};
}

namespace {

/// What is wrong with a mesh file is told with the place that asks for it.
MeshFile readMeshAt(const JsonValue& place, const std::string& path, bool hasBones, Budget& budget) {
    try {
        return readMeshFile(path, hasBones, budget);
    } catch (const ImportError& problem) {
        place.fail(problem.what());
    }
}

}  // namespace

void ItemReader::readMeshFileOf(const JsonValue& file, const JsonValue& json, MeshItem& mesh) {
    if (const auto size = json.find("size")) size->fail("only shapes have a size");
    mesh.filename = pathBeside(file.file(), file.text());
    const std::optional<JsonValue> bones = json.find("bones");
    const bool hasBones = bones && bones->size() > 0;
    MeshFile source = readMeshAt(file, mesh.filename, hasBones, budget_);
    mesh.points = source.points;
    mesh.polygons = source.polygons;
    const std::optional<JsonValue> all = json.find("surface");
    const std::optional<JsonValue> some = json.find("surfaces");
    std::size_t given = 0;
    for (const SurfaceEntry& entry : source.surfaces) {
        const std::optional<JsonValue> own = some ? some->find(entry.name) : std::nullopt;
        given += own ? 1U : 0U;
        mesh.surfaces.push_back(own ? surfaceNamed(*own) : all ? surfaceNamed(*all) : surfaceOfFile(entry));
    }
    if (some && given != some->json().size()) {
        std::string names;
        for (const SurfaceEntry& entry : source.surfaces) names += (names.empty() ? "" : ", ") + entry.name;
        some->fail("names a surface that the file has not; it has: " + names);
    }
    if (!hasBones) {
        mesh.geometry = std::make_shared<const Geometry>(std::move(source.geometry));
        return;
    }
    if (bones->size() > ImportLimits::kBonesOfMesh) bones->fail("has too many bones");
    constexpr std::size_t kMostWork = 500'000'000;
    if (bones->size() * source.geometry.points.size() > kMostWork)
        bones->fail("are too many for so many points");
    boned_.push_back(
        {scene_.meshes.size() - 1, scene_.bones.size(), std::move(source.geometry), std::move(source.bones)});
    for (std::size_t i = 0; i < bones->size(); ++i) readBone(bones->at(i), mesh.item.id);
    for (std::size_t i = boned_.back().firstBone; i < scene_.bones.size(); ++i) {
        mesh.bones.push_back(scene_.bones[i].item.id);
    }
}

void ItemReader::readShadows(const JsonValue& json, MeshItem& mesh) const {
    const std::optional<JsonValue> shadows = json.find("shadows");
    if (!shadows) return;
    shadows->allows({"self", "cast", "receive"});
    mesh.shadows = 0;
    if (shadows->booleanOr("self", true)) mesh.shadows |= 1U;
    if (shadows->booleanOr("cast", true)) mesh.shadows |= 2U;
    if (shadows->booleanOr("receive", true)) mesh.shadows |= 4U;
}

void ItemReader::readBone(const JsonValue& json, HostItemID mesh) {
    json.allows({"name", "parent", "target", "goal", "position", "rotation", "scale", "pivot", "limits",
                 "rest", "length", "reach", "active"});
    BoneItem& bone = addBone(scene_, nameOf(json, "Bone"));
    readItem(json, bone.item);
    bone.item.parent = mesh;
    bone.mesh = mesh;
    bone.restLength = sizeOr(json, "length", 1.0);
    bone.flags = json.booleanOr("active", true) ? 1U : 0U;
    if (const auto reach = json.find("reach")) {
        if (reach->size() != 2) reach->fail("must be the inner and the outer limit");
        bone.flags |= 2U;
        bone.innerLimit = readAmount(reach->at(0));
        bone.outerLimit = reach->at(1).number(bone.innerLimit, ImportLimits::kCoordinate);
    }
    if (const auto rest = json.find("rest")) {
        rest->allows({"position", "rotation", "scale", "pivot"});
        bone.rest = tracks_.motion(*rest);
        if (!json.find("position")) bone.item.motion.position = bone.rest.position;
        if (!json.find("rotation")) bone.item.motion.angles = bone.rest.angles;
        if (!json.find("scale")) bone.item.motion.scaling = bone.rest.scaling;
        if (!json.find("pivot")) bone.item.motion.pivot = bone.rest.pivot;
        return;
    }
    bone.rest.position = bone.item.motion.position.at(0.0);
    bone.rest.angles = bone.item.motion.angles.at(0.0);
    bone.rest.scaling = bone.item.motion.scaling.at(0.0);
    bone.rest.pivot = bone.item.motion.pivot;
}

// ---- lights and cameras ----

void ItemReader::readLight(const JsonValue& json) {
    json.allows({"name",  "parent", "target", "goal",  "aims",      "position", "rotation", "scale",
                 "pivot", "limits", "type",   "color", "intensity", "shadow",   "falloff",  "range",
                 "cone",  "edge",   "radius", "angle", "size",      "length"});
    LightItem& light = addLight(scene_, nameOf(json, "Light"));
    readItem(json, light.item);
    using enum LightItem::Type;
    constexpr std::array kTypes{Distant, Point, Spot, Linear, Area};
    const std::optional<JsonValue> type = json.find("type");
    light.type = type ? kTypes[type->oneOf({"distant", "point", "spot", "linear", "area"})] : Point;
    checkLightKeys(json, light.type);
    light.color = tracks_.vector(json, "color", {1.0, 1.0, 1.0}, readColor);
    light.intensity = tracks_.number(json, "intensity", 1.0, readAmount);
    if (const auto shadow = json.find("shadow")) {
        constexpr std::array kShadows{LightItem::Shadow::None, LightItem::Shadow::Traced,
                                      LightItem::Shadow::Mapped};
        light.shadow = kShadows[shadow->oneOf({"none", "traced", "mapped"})];
    }
    if (const auto falloff = json.find("falloff")) {
        constexpr std::array kFalloffs{LightItem::Falloff::None, LightItem::Falloff::Linear,
                                       LightItem::Falloff::Square};
        light.falloff = kFalloffs[falloff->oneOf({"none", "linear", "square"})];
    }
    light.range = sizeOr(json, "range", 1.0);
    readExtent(json, light);
}

void ItemReader::readCamera(const JsonValue& json) {
    json.allows({"name", "parent", "target", "goal", "aims", "position", "rotation", "scale", "pivot",
                 "limits", "fov", "zoom", "focalLength", "orthographicHeight", "focalDistance", "fStop",
                 "blurLength"});
    CameraItem& camera = addCamera(scene_, nameOf(json, "Camera"));
    readItem(json, camera.item);
    readLens(json, camera);
    camera.focalDistance = tracks_.number(json, "focalDistance", 5.0, readSize);
    camera.fStop = tracks_.number(json, "fStop", 8.0, readSize);
    camera.blurLength = tracks_.number(json, "blurLength", 0.0, readShare);
}

/// The angle can be given in three ways, each of which says the others.
void ItemReader::readLens(const JsonValue& json, CameraItem& camera) const {
    const auto fov = json.find("fov");
    const auto zoom = json.find("zoom");
    const auto lens = json.find("focalLength");
    if (fov.has_value() + zoom.has_value() + lens.has_value() > 1) {
        json.fail("only one of \"fov\", \"zoom\" and \"focalLength\" can be given");
    }
    const char* key = zoom ? "zoom" : lens ? "focalLength" : "fov";
    const auto angle = [&](const JsonValue& value) {
        if (fov) return value.number(0.1, 179.0) * kRadians;
        return zoom ? 2.0 * std::atan(1.0 / value.number(0.01, 1000.0))
                    : fovOfFocalLength(value.number(0.1, 10000.0));
    };
    const auto length = [&](const JsonValue& value) { return focalLengthOfFov(angle(value)); };
    camera.verticalFov = tracks_.number(json, key, 30.0 * kRadians, angle);
    camera.focalLength = tracks_.number(json, key, focalLengthOfFov(30.0 * kRadians), length);
    if (const auto height = json.find("orthographicHeight")) {
        camera.orthographic = true;
        camera.orthographicHeight = readSize(*height);
    }
}

// ---- names ----

std::int32_t ItemReader::surfaceNamed(const JsonValue& name) const {
    const auto found = surfacesByName_.find(name.text());
    if (found == surfacesByName_.end()) name.fail("there is no surface \"" + name.text() + "\"");
    return found->second;
}

/// A surface that only a mesh has: its name is changed where another one has it.
std::int32_t ItemReader::surfaceOfFile(const SurfaceEntry& entry) {
    if (scene_.surfaces.size() >= ImportLimits::kSurfaces) {
        throw ImportError(scene_.filename, "", "has too many surfaces");
    }
    SurfaceEntry& added = scene_.surfaces.emplace_back(entry);
    added.name = surfaceNames_.choose(entry.name, "Surface");
    return static_cast<std::int32_t>(scene_.surfaces.size() - 1);
}

HostItemID ItemReader::itemNamed(const JsonValue& name) const {
    const auto found = itemsByName_.find(name.text());
    if (found == itemsByName_.end()) name.fail("there is no item \"" + name.text() + "\"");
    return found->second;
}

void ItemReader::connect(const std::string& file) {
    std::unordered_map<HostItemID, Item*> items;
    forEachItem(scene_, [&](Item& item) { items.emplace(item.id, &item); });
    for (const Reference& reference : references_) {
        const HostItemID to = itemNamed(reference.name);
        if (to == reference.from) reference.name.fail("an item cannot be its own");
        items[reference.from]->*reference.what = to;
    }
    finishScene(scene_, file);  // no item is its own parent from here on
    for (Boned& boned : boned_) {
        MeshItem& mesh = scene_.meshes[boned.mesh];
        checkBoneParents(boned, file);
        bindBones(scene_, boned.firstBone, boned.firstBone + mesh.bones.size());
        setInfluences(scene_, mesh, boned.firstBone, boned.fileBones, boned.geometry);
        mesh.geometry = std::make_shared<const Geometry>(std::move(boned.geometry));
    }
}

void ItemReader::checkBoneParents(const Boned& boned, const std::string& file) const {
    const MeshItem& mesh = scene_.meshes[boned.mesh];
    const auto [first, last] = std::minmax_element(mesh.bones.begin(), mesh.bones.end());
    for (std::size_t i = 0; i < mesh.bones.size(); ++i) {
        const Item& bone = scene_.bones[boned.firstBone + i].item;
        if (bone.parent != mesh.item.id && (bone.parent < *first || bone.parent > *last)) {
            throw ImportError(
                file, "", "the parent of bone \"" + bone.name + "\" must be its mesh or another bone of it");
        }
    }
}

}  // namespace kestrel::preview
