#include "preview/scene/pose.h"

#include <algorithm>

namespace kestrel::preview {

namespace {

/// Longer chains of parents than any scene has; a scene whose items were their own parents would end here.
constexpr int kDeepestParents = 10000;

Axes towards(const Vec3& from, const Vec3& to, const Axes& otherwise) {
    const double distance = length(to - from);
    return distance > 0.0 && std::isfinite(distance) ? lookAt(from, to) : otherwise;
}

/// An item's map without regard to its target.
Transform plainWorldAt(const SceneIndex& index, const Item& item, double time) {
    Transform world = item.motion.at(time);
    const Item* parent = index.item(item.parent);
    for (int depth = 0; parent != nullptr && depth < kDeepestParents; ++depth) {
        world = parent->motion.at(time) * world;
        parent = index.item(parent->parent);
    }
    return world;
}

/// Normals turn with the map of the points; the inverse transpose only matters where bones scale unevenly.
std::shared_ptr<const Geometry> deformed(const SceneIndex& index, const MeshItem& mesh,
                                         const Transform& toObject, double time) {
    if (mesh.geometry == nullptr || mesh.geometry->influences.empty() || mesh.bones.empty())
        return mesh.geometry;
    std::vector<Transform> maps;
    maps.reserve(mesh.bones.size());
    for (const HostItemID id : mesh.bones) {
        const BoneItem* bone = index.bone(id);
        maps.push_back(bone == nullptr ? Transform{}
                                       : toObject * plainWorldAt(index, bone->item, time) * bone->fromMesh);
    }
    auto result = std::make_shared<Geometry>(*mesh.geometry);
    for (std::size_t i = 0; i < result->points.size(); ++i) {
        const Influence& influence = result->influences[i];
        Vec3 point;
        Vec3 normal;
        for (std::size_t k = 0; k < influence.bone.size(); ++k) {
            const double weight = static_cast<double>(influence.weight[k]);
            if (weight == 0.0) continue;
            const Transform& map = maps[influence.bone[k]];
            point += map.point(toVec(mesh.geometry->points[i])) * weight;
            if (!result->normals.empty()) normal += map.normal(toVec(mesh.geometry->normals[i])) * weight;
        }
        result->points[i] = toFloat3(point);
        if (!result->normals.empty()) result->normals[i] = toFloat3(normalize(normal));
    }
    return result;
}

PosedMesh poseMesh(const SceneIndex& index, const MeshItem& mesh, double time) {
    PosedMesh posed;
    posed.mesh = &mesh;
    posed.toWorld = worldAt(index, mesh.item, time);
    posed.toObject = posed.toWorld.inverse();
    posed.axes = posed.toWorld.axes();
    posed.geometry = deformed(index, mesh, posed.toObject, time);
    posed.dissolve = std::clamp(mesh.dissolve.at(time), 0.0, 1.0);
    return posed;
}

PosedCamera poseCamera(const SceneIndex& index, const CameraItem& camera, double time) {
    const Transform world = worldAt(index, camera.item, time);
    return {&camera,
            world.origin,
            world.axes(),
            camera.verticalFov.at(time),
            camera.focalDistance.at(time),
            camera.fStop.at(time),
            camera.focalLength.at(time)};
}

}  // namespace

Transform Motion::at(double time) const {
    const Axes turned = axes(time);
    const Vec3 scale = scaling.at(time);
    Transform result{turned.right * scale.x, turned.up * scale.y, turned.forward * scale.z, {}};
    result.origin = position.at(time) - result.vector(pivot);
    return result;
}

Transform worldAt(const SceneIndex& index, const Item& item, double time) {
    Transform world = plainWorldAt(index, item, time);
    const Item* target = item.aims ? index.item(item.target) : nullptr;
    if (target == nullptr) return world;
    const Axes axes = towards(world.origin, plainWorldAt(index, *target, time).origin, world.axes());
    world.right = axes.right * length(world.right);
    world.up = axes.up * length(world.up);
    world.forward = axes.forward * length(world.forward);
    return world;
}

Pose::Pose(const SceneIndex& sceneIndex, double when) : index(sceneIndex), time(when) {
    for (const MeshItem& mesh : scene().meshes) {
        if (!mesh.hidden) meshes.push_back(poseMesh(index, mesh, time));
    }
    for (const LightItem& light : scene().lights) {
        const Transform world = worldAt(index, light.item, time);
        lightNumbers_.emplace(light.item.id, lights.size());
        lights.push_back(
            {&light, world.origin, world.axes(), light.color.at(time) * light.intensity.at(time)});
    }
    if (!scene().cameras.empty()) camera = poseCamera(index, scene().camera(), time);
}

const PosedLight* Pose::light(HostItemID id) const {
    const auto found = lightNumbers_.find(id);
    return found == lightNumbers_.end() ? nullptr : &lights[found->second];
}

}  // namespace kestrel::preview
