// Polygons of any number of corners as triangles.
#pragma once

#include "preview/math/vec.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel::preview {

/// Three places in `corners` for each triangle, winding as the polygon does. Polygons may be concave and not
/// quite flat; one that crosses itself gives some triangles or other.
/// Source: Meisters, "Polygons have ears"
void triangulate(std::span<const Vec3> corners, std::vector<std::array<std::uint32_t, 3>>& triangles);

}  // namespace kestrel::preview
