// Meshes that are made rather than read.
#pragma once

#include "preview/scene/geometry.h"

namespace kestrel::preview {

/// The places of the surfaces that makeBall() uses in MeshItem::surfaces.
enum BallSurface : std::uint16_t { kBallBody = 0, kBallFoot = 1 };

/// A ball to show materials on: a sphere of radius 1 around the origin with a groove around it and a flat cut
/// that shows a core in a recess, so that there are edges, a hollow and a plane beside what is round. It
/// rests in a foot, which is a surface of its own; both are closed. The lowest point has y = kBallBottom.
[[nodiscard]] Geometry makeBall();
inline constexpr double kBallBottom = -1.12;

/// A box around the origin with rounded edges.
/// @param half    half its sides
/// @param radius  of the edges, smaller than any of them
[[nodiscard]] Geometry makeBox(const Vec3& half, double radius);

/// A floor that bends up into a wall without an edge, as photographers hang it behind what they show. The
/// floor has y = 0 and reaches from z = -near to z = far, where the bend begins.
struct Backdrop {
    double halfWidth = 18.0;
    double near = 16.0;
    double far = 4.0;
    double radius = 4.0;  ///< of the bend
    double height = 14.0;
};
[[nodiscard]] Geometry makeBackdrop(const Backdrop& size);

}  // namespace kestrel::preview
