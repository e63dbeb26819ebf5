#include "preview/import/scene_parts.h"
#include "preview/scene/pose.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrel::preview {

namespace {

using Parents = std::unordered_map<HostItemID, Item*>;

const Item* parentOf(const Parents& items, const Item& item) {
    const auto found = items.find(item.parent);
    return found == items.end() ? nullptr : found->second;
}

/// How many items stand above each one: known for those above, so each is walked once.
void checkParents(Scene& scene, const Parents& items, const std::string& file) {
    std::unordered_map<HostItemID, int> depths;
    std::vector<const Item*> chain;
    forEachItem(scene, [&](Item& start) {
        chain.clear();
        const Item* item = &start;
        while (item != nullptr && !depths.contains(item->id)) {
            chain.push_back(item);
            if (chain.size() > static_cast<std::size_t>(ImportLimits::kParents)) {
                throw ImportError(file, "",
                                  "\"" + start.name + "\" is among its own parents, or has more than " +
                                      std::to_string(ImportLimits::kParents) + " of them");
            }
            item = parentOf(items, *item);
        }
        int depth = item == nullptr ? 0 : depths[item->id];
        for (; !chain.empty(); chain.pop_back()) {
            depths[chain.back()->id] = ++depth;
            if (depth > ImportLimits::kParents) {
                throw ImportError(file, "", "\"" + chain.back()->name + "\" has too many parents");
            }
        }
    });
}

bool isScaled(const Parents& items, const Item& shape) {
    for (const Item* item = &shape; item != nullptr; item = parentOf(items, *item)) {
        const Track<Vec3>& scaling = item->motion.scaling;
        if (scaling.moves() || !(scaling.at(0.0) == Vec3{1.0, 1.0, 1.0})) return true;
    }
    return false;
}

/// The ray caster's exact shapes know no scale.
void replaceScaledShapes(Scene& scene, const Parents& items) {
    for (MeshItem& mesh : scene.meshes) {
        if (mesh.shape == MeshItem::Shape::Mesh || !isScaled(items, mesh.item)) continue;
        if (mesh.shape == MeshItem::Shape::Sphere) {
            makeBall(mesh, mesh.size);
        } else {
            makePlane(mesh, mesh.size);
        }
    }
}

struct Box {
    Vec3 low{HUGE_VAL, HUGE_VAL, HUGE_VAL};
    Vec3 high{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void add(const Vec3& p) {
        if (!finite(p)) return;
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    [[nodiscard]] bool empty() const { return !(low.x <= high.x); }
    [[nodiscard]] Vec3 center() const { return (low + high) * 0.5; }
    [[nodiscard]] Vec3 corner(unsigned i) const {
        return {(i & 1U) != 0 ? high.x : low.x, (i & 2U) != 0 ? high.y : low.y,
                (i & 4U) != 0 ? high.z : low.z};
    }
};

/// A ground reaches further than anyone wants to see: it does not count.
Box boxOf(const Scene& scene, double time) {
    Box box;
    const SceneIndex index(scene);
    const Pose pose(index, time);
    for (const PosedMesh& posed : pose.meshes) {
        if (posed.mesh->shape == MeshItem::Shape::Sphere) {
            const double r = posed.mesh->size;
            box.add(posed.toWorld.origin - Vec3{r, r, r});
            box.add(posed.toWorld.origin + Vec3{r, r, r});
        } else if (posed.geometry != nullptr) {
            for (const Float3& point : posed.geometry->points) box.add(posed.toWorld.point(toVec(point)));
        }
    }
    if (box.empty()) {
        box.add({-1.0, -1.0, -1.0});
        box.add({1.0, 1.0, 1.0});
    }
    return box;
}

/// A view from the front, a little from the left and from above, that all corners fit into.
void addFramingCamera(Scene& scene, const Box& box) {
    constexpr double kFov = 0.6;
    constexpr double kMargin = 1.08;
    const Vec3 center = box.center();
    const Axes axes = lookAt(Vec3{-0.62, 0.46, -1.0}, {});
    double distance = 0.0;
    for (unsigned i = 0; i < 8; ++i) {
        const Vec3 corner = axes.toObject(box.corner(i) - center);
        const double away = std::max(std::abs(corner.x), std::abs(corner.y)) / std::tan(0.5 * kFov);
        distance = std::max(distance, kMargin * away - corner.z);
    }
    if (!(distance > 0.0)) distance = 1.0;
    CameraItem& camera = addCamera(scene, "Camera");
    camera.item.motion.position = center - axes.forward * distance;
    camera.item.motion.angles = anglesOf(axes);
    camera.verticalFov = kFov;
    camera.fitsSmallerSide = true;
    camera.focalLength = focalLengthOfFov(kFov);
    camera.focalDistance = distance;
}

/// As far away as makes no difference to its direction; a distant light's place is only what scripts see.
void addKeyLightTo(Scene& scene, const Box& box) {
    const double size = std::max(1e-6, length(box.high - box.low));
    const Vec3 from = normalize(Vec3{-0.8, 1.0, -0.7});
    LightItem& light = addLight(scene, "Key");
    light.type = LightItem::Type::Distant;
    light.item.motion.position = box.center() + from * (2.0 * size);
    light.item.motion.angles = anglesOf(lookAt(from, {}));
    light.color = Vec3{0.98, 0.92, 0.82};
    light.radius = 0.05;
}

}  // namespace

void finishScene(Scene& scene, const std::string& file) {
    std::stable_sort(scene.bones.begin(), scene.bones.end(),
                     [](const BoneItem& a, const BoneItem& b) { return a.mesh < b.mesh; });
    Parents items;
    forEachItem(scene, [&](Item& item) { items.emplace(item.id, &item); });
    checkParents(scene, items, file);
    replaceScaledShapes(scene, items);
}

void completeScene(Scene& scene, bool addKeyLight) {
    const bool needsLight = addKeyLight && scene.lights.empty();
    if (!needsLight && !scene.cameras.empty()) return;
    const SceneSettings& settings = scene.settings;
    const Box box = boxOf(scene, settings.frameStart / settings.framesPerSecond);
    if (scene.cameras.empty()) addFramingCamera(scene, box);
    if (needsLight) addKeyLightTo(scene, box);
}

void giveSky(Scene& scene) {
    scene.sky.horizon = {0.47, 0.49, 0.52};
    scene.sky.zenith = {0.09, 0.15, 0.27};
    scene.sky.bounce = {0.10, 0.09, 0.08};
    scene.ambient = scene.sky.ambient({0.0, 0.0, -1.0});
}

}  // namespace kestrel::preview
