#include "preview/scene/merged.h"

#include "preview/scene/pose.h"

namespace kestrel::preview {

namespace {

/// Normals of all meshes, or of none: a mesh without them gets those of its triangles only when it stands
/// alone.
bool allSmooth(const Pose& pose) {
    for (const PosedMesh& mesh : pose.meshes) {
        if (mesh.geometry != nullptr && !mesh.geometry->triangles.empty() && mesh.geometry->normals.empty())
            return false;
    }
    return true;
}

void append(const PosedMesh& mesh, bool smooth, Geometry& whole) {
    const Geometry& part = *mesh.geometry;
    const auto first = static_cast<std::uint32_t>(whole.points.size());
    for (const Float3& point : part.points)
        whole.points.push_back(toFloat3(mesh.toWorld.point(toVec(point))));
    if (smooth) {
        for (const Float3& normal : part.normals)
            whole.normals.push_back(toFloat3(mesh.toWorld.normal(toVec(normal))));
    }
    const bool mirrored = mesh.toWorld.determinant() < 0.0;
    for (const std::array<std::uint32_t, 3>& triangle : part.triangles) {
        const auto [a, b, c] = triangle;
        whole.triangles.push_back({first + a, first + (mirrored ? c : b), first + (mirrored ? b : c)});
    }
}

}  // namespace

std::shared_ptr<const Geometry> mergedGeometry(const Scene& scene) {
    const SceneIndex index(scene);
    const Pose pose(index, scene.settings.frameStart / scene.settings.framesPerSecond);
    const bool smooth = allSmooth(pose);
    auto whole = std::make_shared<Geometry>();
    for (const PosedMesh& mesh : pose.meshes) {
        if (mesh.geometry != nullptr) append(mesh, smooth, *whole);
    }
    if (whole->triangles.empty()) return nullptr;
    return whole;
}

}  // namespace kestrel::preview
