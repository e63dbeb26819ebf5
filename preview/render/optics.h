// Formulas of reflection, refraction and gloss.
#pragma once

#include "preview/math/vec.h"

#include <optional>

namespace kestrel::preview {

/// @param direction  of travel, unit
/// @param normal     unit
[[nodiscard]] Vec3 reflect(const Vec3& direction, const Vec3& normal);

/// The direction behind a boundary.
/// @param direction  of travel, unit
/// @param normal     unit, on the side that the ray comes from
/// @param ratio      refraction index on the ray's side divided by the one behind
/// @return nothing when all light is reflected
/// Source: Snell's law
[[nodiscard]] std::optional<Vec3> refract(const Vec3& direction, const Vec3& normal, double ratio);

/// The share of light that a clear boundary reflects (both polarisations averaged); 1 when all is.
/// @param cosine  between the normal and the direction that the ray comes from, 0..1
/// @param ratio   as for refract()
/// Source: Fresnel's equations for dielectrics
[[nodiscard]] double fresnel(double cosine, double ratio);

/// Exponent of the highlight: 512 for a roughness of 0, 4 for 1.
[[nodiscard]] double highlightExponent(double roughness);

/// Spreads a direction by roughness: none for 0, over much of the half space for 1.
/// @param u, v  evenly spread over 0..1
[[nodiscard]] Vec3 spread(const Vec3& direction, double roughness, double u, double v);

/// Axes whose forward is a direction; the others are any two that fit.
/// Source: Duff and others, "Building an Orthonormal Basis, Revisited"
[[nodiscard]] Axes around(const Vec3& direction);

/// A direction of the half space around a normal, more often near it: the density is the cosine divided by
/// pi.
/// @param u, v  evenly spread over 0..1
/// Source: Malley's method
[[nodiscard]] Vec3 cosineDirection(const Vec3& normal, double u, double v);

/// The share of light that a polished surface reflects, from 0.04 straight on to 1 at flat angles.
/// Source: Schlick's approximation
[[nodiscard]] double polish(double cosine);

/// How bright a linear color looks. Source: ITU-R BT.709
[[nodiscard]] constexpr double luminance(const Vec3& color) {
    return 0.2126 * color.x + 0.7152 * color.y + 0.0722 * color.z;
}

/// A point in the unit disc.
/// @param u, v  evenly spread over 0..1
/// Source: Shirley and Chiu's concentric map, which keeps strata together
struct DiscPoint {
    double x;
    double y;
};
[[nodiscard]] DiscPoint concentricDisc(double u, double v);

}  // namespace kestrel::preview
