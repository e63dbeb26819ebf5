// The shading values of a surface, before and after a script had its say.
#pragma once

#include "host/host_interface.h"
#include "preview/math/vec.h"

#include <cstdint>

namespace kestrel::preview {

struct Surface {
    Vec3 normal;  ///< unit, world space
    Vec3 color{0.8, 0.8, 0.8};
    double luminous = 0.0;
    double diffuse = 0.9;
    double specular = 0.2;
    double mirror = 0.0;
    double transparency = 0.0;
    double eta = 1.0;
    double roughness = 0.0;
};

/// Writes the values into the sample, for the script to change.
void storeSurface(const Surface& surface, ShadingSample& sample);

/// What the renderer uses of a sample that a script may have changed: the values that the mask admits (0 =
/// all), the others from `before`. Scripts may write anything, so numbers that mean nothing are replaced:
/// what is not finite by 0, a normal without direction by the one before; shares are brought into 0..1 and
/// colours to 0 or more.
[[nodiscard]] Surface surfaceFrom(const ShadingSample& sample, std::uint32_t mask, const Surface& before);

/// True when scripts with that mask may make a surface transparent.
[[nodiscard]] constexpr bool mayBeTransparent(std::uint32_t mask) {
    return mask == 0 || (mask & HXSF_TRANSPARENT) != 0;
}

}  // namespace kestrel::preview
