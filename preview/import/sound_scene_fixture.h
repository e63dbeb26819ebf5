// What holds of every scene that a reader lets pass, whatever its file said.
#pragma once

#include "preview/scene/pose.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace kestrel::preview {

/// @return what is wrong with a mesh's triangles; empty: nothing
inline std::string faultOf(const MeshItem& mesh, const Geometry& geometry) {
    const std::size_t points = geometry.points.size();
    const std::size_t triangles = geometry.triangles.size();
    const auto fits = [](const auto& list, std::size_t count) {
        return list.empty() || list.size() == count;
    };
    if (!fits(geometry.normals, points)) return "a normal for each point, or none";
    if (!fits(geometry.influences, points)) return "bones for each point, or none";
    if (!fits(geometry.polygonOf, triangles)) return "a polygon for each triangle, or none";
    if (!fits(geometry.surfaceOf, triangles)) return "a surface for each triangle, or none";
    for (const Float3& point : geometry.points)
        if (!finite(toVec(point))) return "points are finite";
    for (const Float3& normal : geometry.normals)
        if (!(std::fabs(length(toVec(normal)) - 1.0) < 1e-3)) return "normals have unit length";
    for (std::uint32_t i = 0; i < triangles; ++i) {
        for (const std::uint32_t corner : geometry.triangles[i])
            if (corner >= points) return "corners are points";
        if (geometry.surface(i) >= mesh.surfaces.size()) return "triangles have surfaces";
        if (geometry.polygon(i) < 0 || geometry.polygon(i) >= mesh.polygons) return "triangles have polygons";
    }
    for (const Influence& influence : geometry.influences)
        for (const std::uint16_t bone : influence.bone)
            if (!mesh.bones.empty() && bone >= mesh.bones.size())
                return "points are moved by bones of their mesh";
    return {};
}

/// @return what is wrong with a scene; empty: everything that refers to something refers to what is there
inline std::string faultOf(const Scene& scene) {
    const SceneIndex index(scene);
    if (scene.cameras.empty()) return "a scene has a camera";
    for (const MeshItem& mesh : scene.meshes) {
        if (mesh.item.name.empty()) return "items have names";
        for (const std::int32_t surface : mesh.surfaces)
            if (surface < 0 || static_cast<std::size_t>(surface) >= scene.surfaces.size())
                return "meshes have surfaces of the scene";
        for (const HostItemID bone : mesh.bones)
            if (index.bone(bone) == nullptr) return "meshes have bones of the scene";
        if (mesh.geometry != nullptr)
            if (std::string fault = faultOf(mesh, *mesh.geometry); !fault.empty()) return fault;
        if (mesh.item.parent != 0 && index.item(mesh.item.parent) == nullptr) return "parents are items";
    }
    for (const BoneItem& bone : scene.bones)
        if (index.mesh(bone.mesh) == nullptr) return "bones have meshes";
    const Pose pose(index, 0.7);  // must not read beyond anything either
    return pose.meshes.size() <= scene.meshes.size() ? "" : "a mesh is shown once";
}

}  // namespace kestrel::preview
