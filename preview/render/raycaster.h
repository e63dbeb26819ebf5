// Finds what a ray hits. The only part of the project that knows the ray casting library.
#pragma once

#include "preview/scene/pose.h"

#include <limits>
#include <memory>

namespace kestrel::preview {

struct Ray {
    Vec3 origin;
    Vec3 direction;      ///< unit vector
    double from = 1e-4;  ///< nearer hits do not count: keeps a surface from shading itself
    double to = std::numeric_limits<double>::infinity();
};

struct Hit {
    const PosedMesh* mesh = nullptr;
    double distance = 0.0;
    Vec3 point;           ///< world space, exactly on the surface
    Vec3 objectPoint;     ///< object space, exactly on the surface
    Vec3 normal;          ///< outward unit normal, world space
    Vec3 shadingNormal;   ///< the same, smoothed over the mesh
    bool inside = false;  ///< the ray came from inside the mesh
    std::int32_t polygon = 0;
    std::int32_t surface = 0;  ///< its number in Scene::surfaces
    double margin = 1e-4;      ///< for Ray::from of rays that leave the point
};

/// Rays against the meshes of one pose, which must outlive it.
///
/// The floating-point control state of the calling thread is left alone: scripts must not lose their
/// denormals to it.
class RayCaster {
public:
    explicit RayCaster(const Pose& pose);
    ~RayCaster();
    RayCaster(const RayCaster&) = delete;
    RayCaster& operator=(const RayCaster&) = delete;

    /// @return the nearest hit's mesh is null when there is none
    [[nodiscard]] Hit intersect(const Ray& ray) const;
    /// True when anything lies on the ray. Cheaper than to look for the nearest hit.
    [[nodiscard]] bool occluded(const Ray& ray) const;
    /// For Ray::from of rays that leave a point of which no more is known.
    [[nodiscard]] double marginAt(const Vec3& point) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace kestrel::preview
