// Rotations and affine maps. Space is left-handed: x to the right, y up, z away from the viewer.
#pragma once

#include "preview/math/vec.h"

namespace kestrel::preview {

/// A rotation as a unit quaternion.
struct Quaternion {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    double w = 1.0;

    [[nodiscard]] Axes axes() const;
};

/// Spherical interpolation along the shorter way.
/// Source: Shoemake, "Animating Rotation with Quaternion Curves"
[[nodiscard]] Quaternion blend(const Quaternion& a, const Quaternion& b, double t);
[[nodiscard]] constexpr Vec3 blend(const Vec3& a, const Vec3& b, double t) {
    return mix(a, b, t);
}
[[nodiscard]] constexpr double blend(double a, double b, double t) {
    return a * (1.0 - t) + b * t;
}

/// The axes after turning by bank (about z), then pitch (about x), then heading (about y).
/// @param angles  heading, pitch, bank in radians
[[nodiscard]] Axes axesFromAngles(const Vec3& angles);
/// Heading, pitch and bank in radians of axes of unit length.
[[nodiscard]] Vec3 anglesOf(const Axes& axes);

/// An affine map: where the three axes and the origin go.
struct Transform {
    Vec3 right{1.0, 0.0, 0.0};
    Vec3 up{0.0, 1.0, 0.0};
    Vec3 forward{0.0, 0.0, 1.0};
    Vec3 origin;

    [[nodiscard]] constexpr Vec3 vector(const Vec3& v) const {
        return right * v.x + up * v.y + forward * v.z;
    }
    [[nodiscard]] constexpr Vec3 point(const Vec3& p) const { return vector(p) + origin; }
    /// The unit normal of a surface after the map; `n` itself where the map leaves no surface.
    [[nodiscard]] Vec3 normal(const Vec3& n) const;
    /// Negative when the map mirrors, 0 when it flattens.
    [[nodiscard]] constexpr double determinant() const { return dot(right, cross(up, forward)); }
    /// The map back; of a flattening map, one that sends everything to the origin.
    [[nodiscard]] Transform inverse() const;
    /// The directions of the axes, unit length. An axis of no length keeps its own direction.
    [[nodiscard]] Axes axes() const;
};

/// First `inner`, then `outer`.
[[nodiscard]] Transform operator*(const Transform& outer, const Transform& inner);

}  // namespace kestrel::preview
