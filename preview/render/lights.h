// Light that the lights of a scene send to a point.
#pragma once

#include "preview/math/sampling.h"
#include "preview/render/raycaster.h"

#include <optional>

namespace kestrel::preview {

/// Light from one place of a light. Its color is what a white, scattering surface sends back that faces the
/// light; the color of a light is that at its range, or anywhere when it does not fall off.
struct Arriving {
    Vec3 direction;         ///< unit vector towards the light
    double distance = 0.0;  ///< infinite for a distant light
    Vec3 color;             ///< without regard to shadows
};

/// @param place  on the light, evenly spread; its middle is the light's middle
/// @return nothing when no light gets there, whatever stands between
[[nodiscard]] std::optional<Arriving> arriving(const PosedLight& light, const Vec3& point, UnitPoint place);

/// True for lights that reflections show as what they are, so that they need no highlight of their own:
/// areas.
[[nodiscard]] bool seenInReflections(const PosedLight& light);

struct SeenLight {
    double distance = 0.0;
    Vec3 color;
};
/// An area light as a reflected ray sees it. Its rim is a little softer than what it lights would tell, so
/// that it does not look cut out.
/// @return nothing when the ray misses it
[[nodiscard]] std::optional<SeenLight> seen(const PosedLight& light, const Ray& ray);

}  // namespace kestrel::preview
