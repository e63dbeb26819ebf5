// A scene at one time.
#pragma once

#include "preview/scene/scene.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace kestrel::preview {

/// Where an item stands at a time, by its parents, its motion and its target.
/// A chain of parents of any length is followed without recursion.
[[nodiscard]] Transform worldAt(const SceneIndex& index, const Item& item, double time);

struct PosedMesh {
    const MeshItem* mesh = nullptr;
    Transform toWorld;
    Transform toObject;
    Axes axes;  ///< of toWorld, unit length
    std::shared_ptr<const Geometry>
        geometry;  ///< as its bones deform it, in the item's space; null for exact shapes
    double dissolve = 0.0;
};

struct PosedLight {
    const LightItem* light = nullptr;
    Vec3 position;
    Axes axes;
    Vec3 color;  ///< with its intensity
};

struct PosedCamera {
    const CameraItem* camera = nullptr;
    Vec3 position;
    Axes axes;
    double verticalFov = 0.5;
    double focalDistance = 5.0;
    double fStop = 8.0;
    double focalLength = 50.0;
};

/// All that a picture needs of a scene at a time. Hidden items are left out.
struct Pose {
    /// @param index  outlives the pose
    Pose(const SceneIndex& index, double time);

    const SceneIndex& index;
    double time;
    std::vector<PosedMesh> meshes;
    std::vector<PosedLight> lights;
    PosedCamera camera;

    [[nodiscard]] const Scene& scene() const { return index.scene(); }
    /// Null for an item that is no light.
    [[nodiscard]] const PosedLight* light(HostItemID id) const;

private:
    std::unordered_map<HostItemID, std::size_t> lightNumbers_;
};

}  // namespace kestrel::preview
