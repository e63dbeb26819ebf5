// What surrounds a scene: light from all directions.
#pragma once

#include "preview/scene/geometry.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kestrel::preview {

/// Light of all directions as a picture: longitude across, latitude down from straight up. Its middle column
/// is z, away from the viewer; x, the right, lies a quarter to the right of it.
struct Panorama {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<Float3> pixels;  ///< linear RGB, row by row from the top; finite, not negative

    /// Interpolated between the pixels' centres.
    /// @param direction  unit vector
    [[nodiscard]] Vec3 color(const Vec3& direction) const;
};

/// A lamp behind a rectangle of cloth, very far away.
struct Softbox {
    Axes axes;               ///< forward points towards it
    double halfWidth = 0.3;  ///< tangents of the angles that it covers to each side
    double halfHeight = 0.3;
    double edge = 0.1;  ///< width of its soft edge, in the same measure
    Vec3 color;

    [[nodiscard]] Vec3 light(const Vec3& direction) const;
};

/// Light from all around: a gradient, a soft disc and softboxes, or a panorama in place of all of them.
struct Sky {
    Vec3 horizon;
    Vec3 zenith;
    Vec3 bounce;  ///< light that comes up from the ground, for ambient()
    Vec3 glow;
    Vec3 glowDirection{0.0, 1.0, 0.0};  ///< unit vector towards it
    std::vector<Softbox> softboxes;
    std::shared_ptr<const Panorama> panorama;  ///< null: none
    double strength = 1.0;                     ///< of the panorama
    double turn = 0.0;                         ///< of the panorama about the vertical axis, radians

    /// @param direction  unit vector
    [[nodiscard]] Vec3 color(const Vec3& direction) const;
    /// The even part of the light on a surface with that normal.
    [[nodiscard]] Vec3 ambient(const Vec3& normal) const;
};

}  // namespace kestrel::preview
