// Triangles, in the space of the item that shows them.
#pragma once

#include "preview/math/vec.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kestrel::preview {

struct Float3 {
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;
};
[[nodiscard]] constexpr Vec3 toVec(const Float3& v) {
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}
[[nodiscard]] constexpr Float3 toFloat3(const Vec3& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

/// The bones that move a point, by their place in MeshItem::bones; weights sum to 1.
struct Influence {
    std::array<std::uint16_t, 4> bone{};
    std::array<float, 4> weight{};
};

/// All triangles wind clockwise as seen from outside (space is left-handed). All indices are in range.
struct Geometry {
    std::vector<Float3> points;
    std::vector<Float3> normals;  ///< unit, one per point; empty: the triangles are flat
    std::vector<std::array<std::uint32_t, 3>> triangles;
    std::vector<std::int32_t> polygonOf;   ///< per triangle; empty: each is a polygon
    std::vector<std::uint16_t> surfaceOf;  ///< per triangle, a place in MeshItem::surfaces; empty: all 0
    std::vector<Influence> influences;     ///< per point; empty: no bone moves it

    [[nodiscard]] std::int32_t polygon(std::uint32_t triangle) const {
        return polygonOf.empty() ? static_cast<std::int32_t>(triangle) : polygonOf[triangle];
    }
    [[nodiscard]] std::uint16_t surface(std::uint32_t triangle) const {
        return surfaceOf.empty() ? std::uint16_t{0} : surfaceOf[triangle];
    }
};

}  // namespace kestrel::preview
